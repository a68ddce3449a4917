import QtQuick
import Ravant.Conversation
import Ravant.Theme

/// What went into a call of a tool, or came out of it.
Item {
    id: text

    required property RowItem row

    implicitHeight: code.implicitHeight

    Rectangle { x: Theme.unit * 1.5; y: -Theme.unit; width: 1; height: parent.height + Theme.unit * 3; color: Theme.line }
    CodeRow { id: code; row: text.row; x: Theme.unit * 5; width: parent.width - x; height: implicitHeight }
}
