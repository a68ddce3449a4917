import QtQuick
import Ravant.Conversation
import Ravant.Theme

/// A paragraph, heading, list or quotation of the agent.
Item {
    id: prose

    required property RowItem row
    readonly property int inset: row.kind === TranscriptWindow.Quotation ? Theme.unit * 4 : 0

    // All that a line is higher than its letters stands below them: below the last there is no line.
    implicitHeight: words.implicitHeight - Theme.unit * 2

    Rectangle {
        visible: prose.inset > 0
        width: Theme.unit / 2
        height: parent.height
        radius: width / 2
        color: Theme.strongLine
    }
    RowText {
        id: words

        row: prose.row
        x: prose.inset
        width: parent.width - x
        color: prose.inset > 0 ? Theme.dim : Theme.text
        textFormat: TextEdit.RichText
        text: prose.row.style.page(prose.row.html, prose.row.style.sheet, prose.row.level)
    }
    Caret { words: words }
}
