import QtQuick
import QtQuick.Controls.Basic as Basic
import Ravant.Theme

/// The scroll bar of an ordinary list. Rows leave it `Theme.unit * 2` at their right end.
Basic.ScrollBar {
    id: bar

    /// On what floats, which is lighter than the window.
    property bool floats: false

    width: Theme.unit * 2
    padding: 1
    minimumSize: 0.08
    policy: size < 1 ? Basic.ScrollBar.AsNeeded : Basic.ScrollBar.AlwaysOff
    contentItem: Rectangle {
        implicitWidth: Theme.unit * 2 - 2
        radius: width / 2
        color: bar.pressed || bar.hovered ? Theme.strongLine : bar.floats ? Theme.raisedSelected : Theme.line
    }
    background: Item {}
    Accessible.ignored: true
}
