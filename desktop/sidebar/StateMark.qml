import QtQuick
import Ravant.Controls
import Ravant.Theme

/// The shape that stands for the state of a conversation.
Item {
    id: mark

    /// Its word; empty for a quiet one.
    required property string stateWord

    implicitWidth: Theme.iconSize
    implicitHeight: Theme.iconSize
    Accessible.ignored: true

    ThemeIcon {
        anchors.centerIn: parent
        visible: name !== ""
        name: mark.stateWord === "failed" ? "cross" : mark.stateWord === "draft" ? "pencil" : ""
        color: mark.stateWord === "failed" ? Theme.bad : Theme.dim
        width: Theme.unit * 3
        height: width
    }
    RunningMark { anchors.centerIn: parent; visible: mark.stateWord === "running" }
    Rectangle {
        anchors.centerIn: parent
        visible: mark.stateWord === "unread"
        width: Theme.unit * 2
        height: width
        radius: width / 2
        color: Theme.accent
    }
    Rectangle {
        anchors.centerIn: parent
        visible: mark.stateWord === "interrupted"
        width: Theme.unit * 2.5
        height: width
        radius: width / 2
        color: "transparent"
        border { width: 1; color: Theme.attention }

        Item {
            width: parent.width / 2
            height: parent.height
            clip: true

            Rectangle { width: parent.height; height: parent.height; radius: width / 2; color: Theme.attention }
        }
    }
}
