import QtQuick
import Ravant.Conversation
import Ravant.Theme

/// A text of a row: it can be selected by the mouse, and its links followed.
TextEdit {
    id: edit

    required property RowItem row

    readOnly: true
    selectByMouse: true
    persistentSelection: true
    activeFocusOnPress: false
    color: Theme.text
    selectionColor: Theme.accent
    selectedTextColor: Theme.textOnAccent
    wrapMode: TextEdit.Wrap
    textFormat: TextEdit.PlainText
    font { family: Theme.interfaceFont; pixelSize: Theme.proseSize; preferShaping: true }
    Accessible.ignored: true
    onLinkActivated: link => row.followed(link)
    onLinkHovered: link => row.hovered(link)
    onSelectedTextChanged: if (selectedText !== "") row.textSelected(edit)

    TapHandler { onTapped: edit.row.clicked() }
    HoverHandler { cursorShape: edit.hoveredLink !== "" ? Qt.PointingHandCursor : Qt.IBeamCursor }
    TextPainter { document: edit.textDocument; code: edit.row.paint; marked: edit.row.rows.markedText }
}
