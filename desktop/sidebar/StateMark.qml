import QtQuick
import Ravant.Controls
import Ravant.Sidebar
import Ravant.Theme

/// The shape that stands for the state of a conversation; a quiet one has none, and costs none.
Loader {
    required property int shownState

    width: Theme.iconSize
    height: Theme.iconSize
    active: shownState !== SidebarRows.Quiet
    sourceComponent: shownState === SidebarRows.Running ? running : shownState === SidebarRows.Interrupted ? interrupted : shownState === SidebarRows.Unread ? unread : shownState === SidebarRows.Failed ? failed : draft
    Accessible.ignored: true

    Component {
        id: failed

        Item { ThemeIcon { anchors.centerIn: parent; name: "cross"; color: Theme.bad; width: Theme.unit * 3; height: width } }
    }
    Component {
        id: draft

        Item { ThemeIcon { anchors.centerIn: parent; name: "pencil"; width: Theme.unit * 3; height: width } }
    }
    Component {
        id: running

        Item { RunningMark { anchors.centerIn: parent } }
    }
    Component {
        id: unread

        Item {
            Rectangle { anchors.centerIn: parent; width: Theme.unit * 2; height: width; radius: width / 2; color: Theme.accent }
        }
    }
    Component {
        id: interrupted

        Item {
            Rectangle {
                anchors.centerIn: parent
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
    }
}
