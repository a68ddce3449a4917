import QtQuick
import Ravant.Conversation
import Ravant.Theme

/// A table of the agent, which scrolls sideways by itself.
SidewaysScroll {
    id: table

    implicitHeight: words.implicitHeight
    contentWidth: words.width
    ground: row.isSelected ? Theme.selected : row.place < 0 ? Theme.attentionGround : Theme.window
    text: words

    RowText {
        id: words

        row: table.row
        wrapMode: TextEdit.NoWrap
        textFormat: TextEdit.RichText
        text: table.row.style.page(table.row.html, table.row.style.sheet, 0)
    }
    Caret { words: words }
}
