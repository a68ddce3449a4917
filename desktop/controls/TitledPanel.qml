import QtQuick
import QtQuick.Templates as T
import Ravant.Theme

/// What floats over the window and takes the keyboard: Esc, or a press beside it, closes it, and the focus goes back to
/// where it was. Its title is read aloud.
T.Dialog {
    id: panel

    /// A height that depends on `y` would be bound to itself: that follows where the panel finds room.
    readonly property real upperEdge: Math.min(Theme.unit * 20, Math.round((parent?.height ?? 0) / 10))

    parent: T.Overlay.overlay
    x: Math.round((parent.width - width) / 2)
    y: panel.upperEdge
    width: Math.min(Theme.unit * 110, parent.width - Theme.unit * 8)
    padding: Theme.unit
    modal: true
    focus: true
    closePolicy: T.Popup.CloseOnEscape | T.Popup.CloseOnPressOutside
    enter: FadeIn {}
    background: Rectangle { color: Theme.raised; radius: Theme.floatingRadius; border { width: 1; color: Theme.line } }
    T.Overlay.modal: Rectangle { color: Theme.isDark ? "#80000000" : "#40000000" }
}
