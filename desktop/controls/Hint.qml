import QtQuick
import QtQuick.Templates as T
import Ravant.Controls

/// What a control is for, and its keys, for a while when the pointer rests on it or the keyboard comes to it; not over
/// what it has just opened. There is nothing of it before.
Loader {
    id: hint

    required property T.Control control
    property string text
    property string keys
    readonly property bool isByKeys: control.visualFocus && LastInput.byKeys

    anchors.fill: parent
    active: text !== "" && (control.hovered || isByKeys)
    sourceComponent: HintBubble {
        /// Whether the control was pressed since the pointer came.
        property bool isDone: false

        visible: hint.control.hovered && !isDone || hint.isByKeys
        text: hint.text
        keys: hint.keys

        readonly property Connections presses: Connections {
            target: hint.control
            function onHoveredChanged(): void { isDone = false }
            function onPressed(): void { isDone = true }
        }
    }
}
