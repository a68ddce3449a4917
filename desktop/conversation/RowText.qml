import QtQuick
import Ravant.Conversation
import Ravant.Theme

/// A text of a row: it can be selected by the mouse, and its links followed.
TextEdit {
    id: edit

    required property RowItem row
    /// Whether the whole of a block is, so that what is stored of it can stand for it.
    readonly property bool isAllSelected: selectionStart === 0 && selectionEnd === length && row.opensBlock && row.closesBlock && row.more === ""

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

    Loader {
        active: edit.row.links.length > 0
        anchors.fill: parent
        sourceComponent: Item {
            Repeater {
                model: edit.row.links
                delegate: Item {
                    required property string modelData

                    anchors.fill: parent
                    Accessible.role: Accessible.Link
                    Accessible.name: edit.row.rows.linkTarget(modelData)
                    Accessible.onPressAction: edit.row.followed(modelData)
                }
            }
        }
    }
    TapHandler { onTapped: if (edit.selectedText === "") edit.row.clicked() }
    HoverHandler { cursorShape: edit.hoveredLink !== "" ? Qt.PointingHandCursor : Qt.IBeamCursor }
    TextPainter {
        document: edit.textDocument
        code: edit.row.paint
        hasCode: edit.row.html.includes("<code") || edit.row.html.includes("<pre")
        marked: edit.row.rows.markedText
        place: edit.row.place
        onPositionChanged: edit.row.placeFound(edit, position)
    }
}
