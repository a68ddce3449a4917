import QtQuick
import Ravant.Conversation
import Ravant.Theme

/// What the user sent, as it was written, or a piece of it.
Item {
    id: message

    required property RowItem row
    readonly property int above: row.opensBlock ? Theme.unit * 3 : 0
    readonly property int below: !row.closesBlock ? 0 : more.visible ? Theme.unit * 2 : Theme.unit

    implicitHeight: column.implicitHeight + above + below
    clip: !row.opensBlock || !row.closesBlock

    Rectangle {
        anchors.fill: parent
        anchors.topMargin: message.row.opensBlock ? 0 : -radius
        anchors.bottomMargin: message.row.closesBlock ? 0 : -radius
        radius: Theme.blockRadius
        color: Theme.accentGround
    }
    Column {
        id: column

        x: Theme.unit * 3
        y: message.above
        width: parent.width - Theme.unit * 6
        RowText {
            row: message.row
            width: parent.width
            textFormat: TextEdit.RichText
            text: message.row.style.page(message.row.html, message.row.style.sheet, 0)
        }
        MoreButton { id: more; row: message.row; x: -Theme.unit * 2 }
    }
}
