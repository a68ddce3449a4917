import QtQuick
import QtQuick.Controls.Basic as Basic
import Ravant.Controls
import Ravant.Theme

/// A text of many lines that is written. It grows to a height and scrolls from there; Tab leaves it.
FocusScope {
    id: field

    required property string name
    property string placeholder
    property real maximumHeight: Theme.unit * 80
    property alias text: area.text

    /// Before the field takes it, unless an input method is at work.
    signal keyPressed(var event)

    /// Shows another text, with the cursor behind it; what was typed before is not to be undone there.
    function replace(text: string) {
        area.text = text
        area.cursorPosition = area.length
        history.clear()
    }

    implicitHeight: Math.min(area.implicitHeight, maximumHeight)

    UndoHistory { id: history; document: area.textDocument }

    Flickable {
        id: scroll

        anchors.fill: parent
        clip: true
        boundsBehavior: Flickable.StopAtBounds
        Basic.ScrollBar.vertical: VerticalScroll {}

        Basic.TextArea.flickable: Basic.TextArea {
            id: area

            focus: true
            padding: 0
            leftPadding: 0
            rightPadding: Theme.unit * 3
            wrapMode: TextEdit.Wrap
            textFormat: TextEdit.PlainText
            selectByMouse: true
            persistentSelection: true
            color: Theme.text
            selectionColor: Theme.accent
            selectedTextColor: Theme.textOnAccent
            font { family: Theme.interfaceFont; pixelSize: Theme.proseSize }
            background: null
            Keys.onPressed: event => { if (!inputMethodComposing) field.keyPressed(event) }
            Keys.onTabPressed: nextItemInFocusChain(true).forceActiveFocus(Qt.TabFocusReason)
            Keys.onBacktabPressed: nextItemInFocusChain(false).forceActiveFocus(Qt.BacktabFocusReason)
            Accessible.name: field.name
            Accessible.description: field.placeholder

            PlainLabel {
                width: parent.width - area.rightPadding
                visible: area.length === 0 && !area.inputMethodComposing
                text: field.placeholder
                color: Theme.faint
                font.pixelSize: Theme.proseSize
            }
        }
    }
}
