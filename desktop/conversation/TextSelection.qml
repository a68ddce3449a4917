import QtQuick
import Ravant.Conversation

/// What the mouse selected in a transcript: one text has a selection at a time.
QtObject {
    property RowText text
    readonly property bool isNone: (text?.selectedText ?? "") === ""

    signal blockCopied(int row)

    function take(edit: RowText) { if (text !== edit) { text?.deselect(); text = edit } }
    /// What is stored of a block where all of it is selected, else the words as they are shown.
    function copy() { text.isAllSelected ? blockCopied(text.row.index) : text.copy() }
}
