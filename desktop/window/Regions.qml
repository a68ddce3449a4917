import QtQuick
import Ravant.Composer
import Ravant.Controls
import Ravant.Conversation
import Ravant.Program
import Ravant.Sidebar
import Ravant.Theme

/// The regions side by side.
FocusScope {
    id: regions

    readonly property bool hasContent: Workbench.contentKind === Workbench.Latest || Workbench.contentKind === Workbench.Project

    Sidebar {
        id: sidebar

        anchors { top: parent.top; bottom: parent.bottom; left: parent.left }
        width: Theme.unit * 66
    }
    Divider { id: sidebarEdge; anchors { top: parent.top; bottom: parent.bottom; left: sidebar.right } width: 1 }
    ContentColumn {
        id: content

        anchors { top: parent.top; bottom: parent.bottom; left: sidebarEdge.right }
        visible: regions.hasContent
        width: visible ? Theme.unit * 80 : 0
    }
    Divider {
        id: contentEdge

        anchors { top: parent.top; bottom: parent.bottom; left: content.right }
        visible: content.visible
        width: visible ? 1 : 0
    }
    FocusScope {
        anchors { top: parent.top; bottom: parent.bottom; left: contentEdge.right; right: parent.right }
        Accessible.role: Accessible.Grouping
        Accessible.name: qsTr("Conversation")

        ConversationPage {
            anchors { top: parent.top; bottom: composer.top; left: parent.left; right: parent.right }
            visible: Workbench.detailKind === Workbench.Conversation
        }
        NewConversationPage {
            anchors { top: parent.top; bottom: composer.top; left: parent.left; right: parent.right }
            visible: Workbench.detailKind === Workbench.NewConversation
        }
        EmptyState {
            anchors.fill: parent
            visible: Workbench.detailKind === Workbench.None
            words: qsTr("Add a folder to work in.")
            explanation: qsTr("Folders can be dropped anywhere on this window.")
            offer: qsTr("Add project")
            onAccepted: Workbench.run("addNewProject")
        }
        Composer {
            id: composer

            anchors { bottom: parent.bottom; left: parent.left; right: parent.right }
            visible: Workbench.detailKind === Workbench.Conversation || Workbench.detailKind === Workbench.NewConversation
        }
    }
}
