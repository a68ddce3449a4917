import QtQuick
import Ravant.Controls
import Ravant.Program
import Ravant.Theme

/// The regions side by side.
FocusScope {
    id: regions

    readonly property bool hasContent: Workbench.contentKind === Workbench.Latest || Workbench.contentKind === Workbench.Project

    Rectangle {
        id: sidebar

        anchors { top: parent.top; bottom: parent.bottom; left: parent.left }
        width: Theme.unit * 66
        color: Theme.sidebar
        Accessible.role: Accessible.Grouping
        Accessible.name: qsTr("Sidebar")
    }
    Divider { id: sidebarEdge; anchors { top: parent.top; bottom: parent.bottom; left: sidebar.right } width: 1 }
    Item {
        id: content

        anchors { top: parent.top; bottom: parent.bottom; left: sidebarEdge.right }
        visible: regions.hasContent
        width: visible ? Theme.unit * 80 : 0
        Accessible.role: Accessible.Grouping
        Accessible.name: qsTr("Content")
    }
    Divider {
        id: contentEdge

        anchors { top: parent.top; bottom: parent.bottom; left: content.right }
        visible: content.visible
        width: visible ? 1 : 0
    }
    Item {
        anchors { top: parent.top; bottom: parent.bottom; left: contentEdge.right; right: parent.right }
        Accessible.role: Accessible.Grouping
        Accessible.name: qsTr("Conversation")
        EmptyState {
            anchors.fill: parent
            words: qsTr("Add a folder to work in.")
            explanation: qsTr("Folders can be dropped anywhere on this window.")
            offer: qsTr("Add project")
            onAccepted: Workbench.run("addNewProject")
        }
    }
}
