import QtQuick
import Ravant.Conversation

/// A table of the agent, which scrolls sideways by itself.
Flickable {
    id: table

    required property RowItem row

    implicitHeight: words.implicitHeight
    contentWidth: words.width
    contentHeight: height
    clip: contentWidth > width
    interactive: contentWidth > width
    flickableDirection: Flickable.HorizontalFlick
    boundsBehavior: Flickable.StopAtBounds

    RowText {
        id: words

        row: table.row
        wrapMode: TextEdit.NoWrap
        textFormat: TextEdit.RichText
        text: table.row.style.page(table.row.html, table.row.style.sheet, 0)
    }
}
