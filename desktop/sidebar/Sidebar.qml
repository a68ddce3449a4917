import QtQuick
import Ravant.Controls
import Ravant.Program
import Ravant.Sidebar
import Ravant.Theme

/// Where everything is: the field that opens the palette, the latest conversations, the projects.
FocusScope {
    id: sidebar

    /// Whether the list that is selected here stands beside it, and shows which conversation is open.
    property bool listShown: false

    Accessible.role: Accessible.Grouping
    Accessible.name: qsTr("Sidebar")

    ProjectTree { id: projectTree; shown: sidebar.visible && sidebar.Window.visibility !== Window.Hidden && sidebar.Window.visibility !== Window.Minimized }
    ProjectActions { id: projectActions }
    ConversationActions { id: conversationActions }
    OwnUse { id: ownUse }
    FolderChooser { id: chooser; title: qsTr("Add project"); onChosen: folder => Workbench.addProjectFolders([folder]) }
    RecentPopup {}
    ProjectChooser {}

    CommandHandler { command: "addNewProject"; onTriggered: chooser.open() }
    CommandHandler {
        command: "archive"
        enabled: tree.activeFocus && tree.currentRow !== null && !tree.currentRow.isProject
        onTriggered: conversationActions.archive(tree.currentRow.ownId)
    }
    CommandHandler {
        command: "deleteConversation"
        enabled: tree.activeFocus ? tree.currentRow?.isConversation ?? false : Workbench.conversation !== ""
        onTriggered: conversationActions.remove(tree.activeFocus ? tree.currentRow.conversationId : Workbench.conversation)
    }
    Connections {
        target: Workbench
        function onDeletionRequested(conversation: string) { conversationActions.remove(conversation) }
    }
    CommandHandler { command: "previousInSidebar"; onTriggered: projectTree.openNeighbour(-1) }
    CommandHandler { command: "nextInSidebar"; onTriggered: projectTree.openNeighbour(1) }
    CommandHandler {
        command: "rename"
        enabled: tree.activeFocus || Workbench.conversation !== ""
        onTriggered: tree.rename(tree.activeFocus ? tree.currentIndex : projectTree.reveal(Workbench.conversation))
    }

    Rectangle { anchors.fill: parent; color: Theme.sidebar }

    Item {
        id: head

        anchors { top: parent.top; left: parent.left; right: parent.right }
        height: Theme.headHeight

        FieldButton {
            anchors { left: parent.left; leftMargin: Theme.unit * 2; right: pencil.left; rightMargin: Theme.unit; verticalCenter: parent.verticalCenter }
            iconName: "search"
            text: qsTr("Go to or run")
            keys: Workbench.keys("showPalette", Workbench.keysRevision)
            onClicked: Workbench.run("showPalette")
        }
        IconButton {
            id: pencil

            anchors { right: parent.right; rightMargin: Theme.unit * 1.5; verticalCenter: parent.verticalCenter }
            iconName: "pencil"
            name: qsTr("New conversation")
            keys: Workbench.keys("newConversation", Workbench.keysRevision)
            onClicked: Workbench.run("newConversation")
        }
    }
    RowButton {
        id: latest

        anchors { top: head.bottom; left: parent.left; right: parent.right }
        iconName: "clock"
        text: qsTr("Latest conversations")
        keys: Workbench.keys("allConversations", Workbench.keysRevision)
        selected: Workbench.contentKind === Workbench.Latest && (sidebar.listShown || Workbench.conversation === "")
        onClicked: Workbench.showLatest()
    }
    Item {
        id: heading

        anchors { top: latest.bottom; topMargin: Theme.unit * 2; left: parent.left; right: parent.right }
        height: Theme.rowHeight

        PlainLabel {
            anchors { left: parent.left; leftMargin: Theme.unit * 4; verticalCenter: parent.verticalCenter }
            mustFit: true
            text: qsTr("Projects")
            color: Theme.dim
            font { pixelSize: Theme.secondarySize; weight: Font.DemiBold }
        }
        IconButton {
            anchors { right: parent.right; rightMargin: Theme.unit * 1.5; verticalCenter: parent.verticalCenter }
            iconName: "plus"
            name: qsTr("Add project")
            keys: Workbench.keys("addNewProject", Workbench.keysRevision)
            onClicked: Workbench.run("addNewProject")
        }
    }
    PlainLabel {
        anchors { top: heading.bottom; left: parent.left; leftMargin: Theme.unit * 4; right: parent.right }
        visible: projectTree.read && !projectTree.hasProjects
        height: Theme.rowHeight
        mustFit: true
        text: qsTr("Add a folder to work in.")
        color: Theme.dim
        font.pixelSize: Theme.secondarySize
    }
    ProjectTreeView {
        id: tree

        anchors { top: heading.bottom; bottom: footLine.top; left: parent.left; right: parent.right }
        focus: true
        tree: projectTree
        listShown: sidebar.listShown
        projects: projectActions
        conversations: conversationActions
    }
    Divider { id: footLine; anchors { bottom: foot.top; left: parent.left; right: parent.right } height: 1 }
    Item {
        id: foot

        anchors { bottom: parent.bottom; left: parent.left; right: parent.right }
        height: Theme.unit * 10

        PlainLabel {
            id: running

            anchors { left: parent.left; leftMargin: Theme.unit * 4; verticalCenter: parent.verticalCenter }
            text: projectTree.running === "" ? "" : projectTree.running + " · "
            color: Theme.dim
            font.pixelSize: Theme.secondarySize
            Accessible.ignored: text === ""
            Accessible.role: Accessible.StaticText
            Accessible.name: projectTree.running
        }
        TextMetrics { id: wholeUse; text: ownUse.words; font: use.font }
        PlainLabel {
            id: use

            anchors { left: running.right; right: settings.left; rightMargin: Theme.unit; verticalCenter: parent.verticalCenter }
            horizontalAlignment: Text.AlignLeft
            text: wholeUse.advanceWidth <= width ? ownUse.words : ownUse.memoryWords
            color: Theme.faint
            font.pixelSize: Theme.secondarySize
            Accessible.ignored: text === ""
            Accessible.role: Accessible.StaticText
            Accessible.name: ownUse.spoken
        }
        IconButton {
            id: settings

            anchors { right: parent.right; rightMargin: Theme.unit * 1.5; verticalCenter: parent.verticalCenter }
            iconName: "settings"
            name: qsTr("Settings")
            keys: Workbench.keys("settings", Workbench.keysRevision)
            onClicked: Workbench.run("settings")
        }
    }
}
