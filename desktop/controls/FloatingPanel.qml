import QtQuick
import QtQuick.Controls.Basic as Basic
import QtQuick.Templates as T
import Ravant.Theme

/// What floats over the window for a moment and has the keyboard meanwhile. Esc and a click beside it close it.
Basic.Popup {
    id: panel

    required property string name

    parent: T.Overlay.overlay
    x: Math.round((parent.width - width) / 2)
    y: Math.round(parent.height / 6)
    width: Theme.unit * 110
    padding: Theme.unit
    modal: true
    focus: true
    background: Rectangle { color: Theme.raised; radius: 12; border { width: 1; color: Theme.line } }
    T.Overlay.modal: Rectangle { color: Theme.isDark ? "#80000000" : "#40000000" }
}
