import QtQuick
import Ravant.Controls
import Ravant.Program
import Ravant.Sidebar
import Ravant.Theme

/// The list that the sidebar's selection is: the latest conversations, or those of a project.
FocusScope {
    id: column

    function begin() { Workbench.contentProject === "" ? Workbench.run("newConversation") : Workbench.startNewConversation(Workbench.contentProject) }

    Accessible.role: Accessible.Grouping
    Accessible.name: qsTr("Content")

    ConversationList {
        id: conversationList

        shown: column.visible && column.Window.visibility !== Window.Hidden && column.Window.visibility !== Window.Minimized
        project: Workbench.contentProject
    }
    ConversationActions { id: conversationActions }
    CommandHandler { command: "rename"; enabled: list.activeFocus; onTriggered: list.rename() }
    CommandHandler {
        command: "archive"
        enabled: list.activeFocus && list.currentRow !== null && !list.currentRow.isArchived
        onTriggered: conversationActions.archive(list.currentRow.conversationId)
    }
    CommandHandler { command: "archivedConversations"; onTriggered: conversationList.turnArchived(column.visible) }
    CommandHandler {
        command: "deleteConversation"
        enabled: list.activeFocus && list.currentRow !== null
        onTriggered: conversationActions.remove(list.currentRow.conversationId)
    }

    Rectangle { anchors.fill: parent; color: Theme.window }

    Item {
        id: head

        anchors { top: parent.top; left: parent.left; right: parent.right }
        height: Theme.headHeight

        PlainLabel {
            anchors { left: parent.left; leftMargin: Theme.unit * 4; right: buttons.left; rightMargin: Theme.unit * 2; verticalCenter: parent.verticalCenter }
            text: conversationList.title
            font.weight: Font.DemiBold
        }
        Row {
            id: buttons

            anchors { right: parent.right; rightMargin: Theme.unit * 1.5; verticalCenter: parent.verticalCenter }
            IconButton {
                iconName: "archive"
                name: conversationList.archived ? qsTr("Conversations that are not archived") : qsTr("Archived conversations")
                keys: Workbench.keys("archivedConversations", Workbench.keysRevision)
                checked: conversationList.archived
                ink: conversationList.archived ? Theme.accent : Theme.dim
                onClicked: conversationList.archived = !conversationList.archived
            }
            IconButton {
                iconName: "pencil"
                name: Workbench.contentProject === "" ? qsTr("New conversation") : qsTr("New conversation in %1").arg(conversationList.projectName)
                onClicked: column.begin()
            }
        }
    }
    Divider { anchors { bottom: head.bottom; left: parent.left; right: parent.right } height: 1 }
    Column {
        id: empty

        anchors { top: head.bottom; topMargin: Theme.unit * 4; left: parent.left; right: parent.right; margins: Theme.unit * 4 }
        visible: conversationList.read && conversationList.count === 0
        spacing: Theme.unit * 3

        PlainLabel {
            width: parent.width
            text: conversationList.archived ? qsTr("No archived conversation.") : qsTr("No conversation yet.")
            color: Theme.dim
            wrapMode: Text.Wrap
            Accessible.ignored: false
            Accessible.role: Accessible.StaticText
            Accessible.name: text
        }
        PushButton {
            visible: conversationList.archived
            text: qsTr("Show the others")
            onClicked: conversationList.archived = false
        }
        PushButton {
            visible: !conversationList.archived && (Workbench.newConversationProject === "" || Workbench.contentProject !== "" && Workbench.contentProject !== Workbench.newConversationProject)
            text: qsTr("New conversation")
            onClicked: column.begin()
        }
    }
    ReadingOrder { list: list }
    ListView {
        id: list

        readonly property ConversationRow currentRow: currentItem as ConversationRow
        property string renamed
        /// Of all that is selected, only another conversation moves the place of the keyboard.
        readonly property string shown: Workbench.conversation

        onShownChanged: currentIndex = conversationList.rowOfConversation(shown)

        function showMenu() { if (currentRow) menu.popup(currentRow, Theme.unit * 8, currentRow.height); }
        function rename() { renamed = currentRow?.conversationId ?? ""; }

        anchors { top: head.bottom; bottom: parent.bottom; left: parent.left; right: parent.right }
        topMargin: Theme.unit
        model: conversationList
        clip: true
        focus: true
        activeFocusOnTab: true
        boundsBehavior: Flickable.StopAtBounds
        highlightMoveDuration: 0
        currentIndex: -1
        section.property: "group"
        section.delegate: DayHeading { width: ListView.view?.width ?? 0 }
        Accessible.role: Accessible.List
        Accessible.name: conversationList.title
        Accessible.focusable: true
        onHeightChanged: if (currentIndex >= 0) positionViewAtIndex(currentIndex, ListView.Contain)
        onActiveFocusChanged: if (activeFocus && currentIndex < 0) currentIndex = Math.max(0, conversationList.rowOfConversation(Workbench.conversation))
        Keys.onPressed: event => currentIndex = conversationList.rowByKey(currentIndex, event.key)
        Keys.onReturnPressed: conversationList.open(currentIndex)
        Keys.onEnterPressed: conversationList.open(currentIndex)
        Keys.onSpacePressed: { conversationList.open(currentIndex); forceActiveFocus() }
        Keys.onDeletePressed: event => { if (!event.isAutoRepeat) conversationActions.remove(currentRow?.conversationId ?? ""); forceActiveFocus() }
        Keys.onMenuPressed: showMenu()
        delegate: ConversationRow {
            width: list.width
            current: ListView.isCurrentItem && !renames
            selected: conversationId === Workbench.conversation
            hasMenu: ListView.isCurrentItem && menu.visible
            renames: list.renamed !== "" && list.renamed === conversationId
            onClicked: { list.currentIndex = index; list.forceActiveFocus(); conversationList.open(index) }
            onMenuRequested: { list.currentIndex = index; menu.popup() }
            onRenamed: words => conversationActions.rename(conversationId, words)
            onRenameLeft: list.renamed = ""
        }

        Shortcut { sequence: "Shift+F10"; enabled: list.activeFocus; onActivated: list.showMenu() }
        Connections {
            target: conversationList
            function onQueryChanged() { list.currentIndex = conversationList.rowOfConversation(Workbench.conversation); }
        }
        VerticalScroll {
            parent: list
            anchors { top: parent.top; bottom: parent.bottom; right: parent.right }
            orientation: Qt.Vertical
            size: list.visibleArea.heightRatio
            position: list.visibleArea.yPosition
            onPositionChanged: if (pressed) list.contentY = position * list.contentHeight + list.originY
        }
        ConversationMenu {
            id: menu

            actions: conversationActions
            conversationId: list.currentRow?.conversationId ?? ""
            isArchived: list.currentRow?.isArchived ?? false
            onRenameRequested: list.rename()
        }
    }
}
