import QtQuick
import QtQuick.Controls.Basic as Basic
import Ravant.Theme

/// What a control is for, and its keys, while the pointer rests on it or the keyboard is at it.
Basic.ToolTip {
    id: hint

    property string keys

    delay: 600
    padding: Theme.unit * 2
    contentItem: PlainLabel {
        font.pixelSize: Theme.secondarySize
        text: hint.keys === "" ? hint.text : hint.text + "   " + hint.keys
    }
    background: Rectangle { color: Theme.raised; radius: 6; border { width: 1; color: Theme.line } }
}
