import QtQuick
import Ravant.Conversation

/// A table of the agent, which scrolls sideways by itself.
SidewaysScroll {
    id: table

    implicitHeight: words.implicitHeight
    contentWidth: words.width

    RowText {
        id: words

        row: table.row
        wrapMode: TextEdit.NoWrap
        textFormat: TextEdit.RichText
        text: table.row.style.page(table.row.html, table.row.style.sheet, 0)
    }
    Caret { words: words }
}
