import QtQuick

/// A conversation: its head and its transcript.
FocusScope {
}
