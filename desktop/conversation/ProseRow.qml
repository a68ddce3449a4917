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
    Rectangle {
        readonly property rect end: words.positionToRectangle(words.length)

        visible: prose.row.isGrowing
        x: words.x + (words.length > 0 ? end.x : 0) + 2
        y: end.y + 3
        width: Theme.unit
        height: Theme.proseSize + 2
        color: Theme.accent
    }
}
