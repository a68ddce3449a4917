import QtQuick

/// Where a prompt is written and sent, below a conversation or on the page of a new one.
FocusScope {
    implicitHeight: 0
}
