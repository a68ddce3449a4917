import QtQuick
import QtQuick.Controls.Basic as Basic
import Ravant.Theme

/// A menu of `MenuEntry`.
Basic.Menu {
    id: menu

    padding: Theme.unit
    implicitWidth: Theme.unit * 60
    background: Rectangle { color: Theme.raised; radius: 8; border { width: 1; color: Theme.line } }
}
