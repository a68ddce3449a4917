import QtQuick
import Ravant.Theme

/// Where everything is: the field that opens the palette, the latest conversations, the projects.
FocusScope {
    id: sidebar

    Accessible.role: Accessible.Grouping
    Accessible.name: qsTr("Sidebar")

    Rectangle { anchors.fill: parent; color: Theme.sidebar }
}
