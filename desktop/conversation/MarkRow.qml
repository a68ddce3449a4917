import QtQuick
import Ravant.Conversation
import Ravant.Controls
import Ravant.Theme

/// Words on a rule: where a context was compacted, and above what is new.
Item {
    id: mark

    required property RowItem row
    readonly property bool isNew: row.kind === TranscriptWindow.Unread

    implicitHeight: Theme.rowHeight

    Rectangle { anchors { left: parent.left; right: words.left; rightMargin: Theme.unit * 3; verticalCenter: parent.verticalCenter } height: 1; color: Theme.line }
    Rectangle { anchors { left: words.right; leftMargin: Theme.unit * 3; right: parent.right; verticalCenter: parent.verticalCenter } height: 1; color: Theme.line }
    Row {
        id: words

        anchors.centerIn: parent
        spacing: Theme.unit * 2
        ThemeIcon { visible: !mark.isNew; name: mark.row.kind === TranscriptWindow.Stopped ? "stop" : "compact"; anchors.verticalCenter: parent.verticalCenter }
        PlainLabel {
            anchors.verticalCenter: parent.verticalCenter
            width: Math.min(implicitWidth, mark.width - Theme.unit * 20)
            text: mark.row.words
            color: mark.isNew ? Theme.accent : Theme.dim
            font { pixelSize: Theme.secondarySize; weight: mark.isNew ? Font.Medium : Font.Normal }
        }
    }
}
