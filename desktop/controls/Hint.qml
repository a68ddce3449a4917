import QtQuick
import QtQuick.Controls.Basic as Basic
import QtQuick.Templates as T
import Ravant.Controls
import Ravant.Theme

/// What a control is for, and its keys, for a while when the pointer rests on it or the keyboard comes to it; not over
/// what it has just opened.
Basic.ToolTip {
    id: hint

    /// Nothing where `visible` says when.
    property T.Control control: null
    property string keys
    /// Whether the control was pressed since the pointer came.
    property bool isDone: false

    visible: text !== "" && control !== null && (control.hovered && !isDone || control.visualFocus && LastInput.byKeys)
    delay: 600
    timeout: 5000
    margins: Theme.unit
    padding: Theme.unit * 2
    contentItem: PlainLabel {
        font.pixelSize: Theme.secondarySize
        text: hint.keys === "" ? hint.text : hint.text + "   " + hint.keys
    }
    background: Rectangle { color: Theme.raised; radius: Theme.floatingRadius; border { width: 1; color: Theme.line } }

    Connections {
        target: hint.control
        function onHoveredChanged(): void { hint.isDone = false }
        function onPressed(): void { hint.isDone = true }
    }
}
