import QtQuick

/// What there is to go to or to run, found by what is typed.
Item {
}
