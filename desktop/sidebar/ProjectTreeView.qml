pragma ComponentBehavior: Bound

import QtQuick
import Ravant.Controls
import Ravant.Program
import Ravant.Sidebar
import Ravant.Theme

/// The projects and their conversations: one stop of the keyboard.
ListView {
    id: view

    required property ProjectTree tree
    required property ProjectActions projects
    required property ConversationActions conversations
    required property bool listShown
    /// The project or conversation whose name is being changed.
    property string renamed
    /// The project that the pointer holds, and the row in front of which it would be put.
    property string dragged
    property int dropRow: -1

    /// Where something else is selected, the keyboard's place goes to it; not where only something is gone.
    readonly property string shown: Workbench.conversation + " " + selectedProject

    onShownChanged: if (tree.rowOfShown() >= 0) currentIndex = tree.rowOfShown()

    readonly property TreeRow currentRow: currentItem as TreeRow
    readonly property string selectedProject: listShown ? Workbench.contentProject : Workbench.conversation !== "" ? "" : Workbench.newConversationProject !== "" ? Workbench.newConversationProject : Workbench.contentProject
    readonly property MenuPopup menu: currentRow?.isProject ? projectMenu : conversationMenu

    function rename(row: int) { currentIndex = row; renamed = currentRow?.ownId ?? ""; }
    function showMenu() { if (currentRow?.ownId) menu.popup(currentRow, Theme.unit * 8, currentRow.height); }

    model: tree
    clip: true
    activeFocusOnTab: true
    boundsBehavior: Flickable.StopAtBounds
    highlightMoveDuration: 0
    currentIndex: -1
    Accessible.role: Accessible.Tree
    Accessible.name: qsTr("Projects")
    Accessible.focusable: true

    onHeightChanged: if (currentIndex >= 0) positionViewAtIndex(currentIndex, ListView.Contain)
    onActiveFocusChanged: if (activeFocus && currentIndex < 0) currentIndex = Math.max(0, tree.rowOfShown())
    Keys.onPressed: event => currentIndex = tree.rowByKey(currentIndex, event.key)
    Keys.onReturnPressed: tree.open(currentIndex)
    Keys.onEnterPressed: tree.open(currentIndex)
    Keys.onSpacePressed: { tree.open(currentIndex); forceActiveFocus() }
    Keys.onDeletePressed: event => { if (!event.isAutoRepeat) currentIndex = tree.remove(currentIndex); forceActiveFocus() }
    Keys.onMenuPressed: showMenu()

    delegate: TreeRow {
        width: view.width
        current: ListView.isCurrentItem && !renames
        isOpened: isConversation && conversationId === Workbench.conversation
        selected: isConversation ? isOpened && !view.listShown : isProject && projectId === view.selectedProject
        hasMenu: ListView.isCurrentItem && view.menu.visible
        renames: view.renamed !== "" && view.renamed === ownId
        onClicked: { view.currentIndex = index; view.forceActiveFocus(); view.tree.open(index) }
        onFolded: { view.currentIndex = index; view.tree.setOpen(index, !isOpen) }
        onMenuRequested: { view.currentIndex = index; if (ownId !== "") view.menu.popup() }
        onRenamed: words => view.tree.rename(index, words)
        onRenameLeft: view.renamed = ""
        onDragged: y => { view.dragged = projectId; view.dropRow = y < view.originY ? 0 : view.tree.dropRow(view.indexAt(1, y)) }
        onDropped: { view.tree.moveProject(view.dragged, view.dropRow); view.dragged = "" }
    }

    ReadingOrder { list: view }
    Shortcut { sequence: "Shift+F10"; enabled: view.activeFocus; onActivated: view.showMenu() }

    Rectangle {
        x: Theme.unit * 2
        y: view.itemAtIndex(view.dropRow)?.y ?? view.contentHeight
        z: 1
        visible: view.dragged !== ""
        width: view.width - Theme.unit * 4
        height: 2
        color: Theme.accent
        Accessible.ignored: true
    }
    VerticalScroll {
        parent: view
        anchors { top: parent.top; bottom: parent.bottom; right: parent.right }
        orientation: Qt.Vertical
        size: view.visibleArea.heightRatio
        position: view.visibleArea.yPosition
        onPositionChanged: if (pressed) view.contentY = position * view.contentHeight + view.originY
    }

    MenuPopup {
        id: projectMenu

        /// The one that the menu was opened for: the list can move under it.
        property string target

        onAboutToShow: target = view.currentRow?.projectId ?? ""

        MenuEntry { text: qsTr("New conversation"); onTriggered: Workbench.startNewConversation(projectMenu.target) }
        MenuEntry { text: qsTr("Rename"); keys: Workbench.keys("rename", Workbench.keysRevision); onTriggered: view.rename(view.currentIndex) }
        MenuEntry { text: qsTr("Open folder"); onTriggered: view.projects.openFolder(projectMenu.target) }
        MenuEntry { text: qsTr("Copy path"); onTriggered: view.projects.copyPath(projectMenu.target) }
        MenuEntry { text: qsTr("Move up"); enabled: projectMenu.visible && view.projects.canMove(projectMenu.target, -1); onTriggered: view.projects.move(projectMenu.target, -1) }
        MenuEntry { text: qsTr("Move down"); enabled: projectMenu.visible && view.projects.canMove(projectMenu.target, 1); onTriggered: view.projects.move(projectMenu.target, 1) }
        MenuEntry { text: qsTr("Remove from sidebar"); keys: "Del"; onTriggered: view.projects.remove(projectMenu.target) }
    }
    ConversationMenu {
        id: conversationMenu

        actions: view.conversations
        conversationId: view.currentRow?.conversationId ?? ""
        onRenameRequested: view.rename(view.currentIndex)
    }
}
