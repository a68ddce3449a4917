import QtQuick
import Ravant.Theme

/// Two pixels of accent around what has the keyboard's focus.
Rectangle {
    /// What it is drawn around.
    required property Item control

    anchors.fill: parent
    visible: control.activeFocus
    color: "transparent"
    radius: 6
    border { width: 2; color: Theme.accent }
}
