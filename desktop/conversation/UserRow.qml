import QtQuick
import Ravant.Conversation
import Ravant.Theme

/// What the user sent, as it was written.
Rectangle {
    id: message

    required property RowItem row

    implicitHeight: column.implicitHeight + Theme.unit * 5
    radius: 8
    color: Theme.accentGround

    Column {
        id: column

        x: Theme.unit * 4
        y: Theme.unit * 3.25
        width: parent.width - Theme.unit * 8
        spacing: Theme.unit
        RowText {
            row: message.row
            width: parent.width
            textFormat: TextEdit.RichText
            text: message.row.style.page(message.row.html, message.row.style.sheet, 0)
        }
        MoreButton { row: message.row }
    }
}
