import QtQuick
import Ravant.Controls
import Ravant.Theme

/// Two pixels of accent around what has the keyboard's focus, for who works by keys.
Rectangle {
    /// What it is drawn around.
    required property Item control

    anchors.fill: parent
    visible: control.activeFocus && LastInput.byKeys
    color: "transparent"
    radius: Theme.rowRadius
    border { width: 2; color: Theme.accent }
}
