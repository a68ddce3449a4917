import QtQuick
import QtQuick.Controls.Basic as Basic
import Ravant.Theme

/// A menu of `MenuEntry`. The keyboard's focus returns to where it was, unless what was chosen has taken it.
Basic.Menu {
    id: menu

    property Item focusBefore: null

    onAboutToShow: focusBefore = parent?.Window.activeFocusItem ?? null
    onClosed: if (!parent?.Window.activeFocusItem?.parent) focusBefore?.forceActiveFocus()
    margins: Theme.unit
    padding: Theme.unit
    implicitWidth: Theme.unit * 60
    enter: FadeIn {}
    background: Rectangle { color: Theme.raised; radius: Theme.floatingRadius; border { width: 1; color: Theme.line } }
}
