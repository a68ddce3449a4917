import QtQuick
import Ravant.Composer
import Ravant.Controls
import Ravant.Conversation
import Ravant.Program
import Ravant.Sidebar
import Ravant.Theme
import Ravant.Window

/// The regions side by side; in a narrow window the sidebar lies over the others while it is shown.
FocusScope {
    id: regions

    required property WindowPlacement placement
    readonly property bool isNarrow: width < Theme.unit * 225
    readonly property bool hasContent: Workbench.contentKind === Workbench.Latest || Workbench.contentKind === Workbench.Project
    readonly property int sidebarWidth: placement.sidebarWidth * Theme.unit / 4
    readonly property int contentWidth: placement.contentWidth * Theme.unit / 4
    readonly property int leftOfContent: rail.visible ? rail.width + 1 : sidebarWidth + 1
    /// Where there is no room for both, the list gives way to what was selected in it.
    readonly property bool hasRoomForContent: width - leftOfContent - contentWidth >= Theme.unit * 105
    /// The sidebar of a narrow window, which is not kept.
    property bool sidebarLiesOver: false
    /// The list, where it was asked for and there is no room beside the detail.
    property bool listLiesOver: false

    onIsNarrowChanged: sidebarLiesOver = false
    onHasRoomForContentChanged: listLiesOver = false
    Keys.onEscapePressed: event => event.accepted = Workbench.notices.dismissError()

    /// The keyboard goes to the sidebar that was opened, and back to the detail from the one that was closed.
    function followSidebar(shown: bool) { ring.enter(shown ? sidebar : detail) }
    /// From what lies over it.
    function goToDetail() { sidebarLiesOver = listLiesOver = false; ring.enter(detail) }
    function bringList() { sidebarLiesOver = false; listLiesOver = Workbench.detailKind !== Workbench.None; ring.enter(content) }

    Rectangle {
        id: rail

        anchors { top: parent.top; bottom: parent.bottom; left: parent.left }
        visible: regions.isNarrow || !regions.placement.sidebarShown
        width: Theme.unit * 10
        color: Theme.sidebar

        IconButton {
            anchors { top: parent.top; topMargin: (Theme.headHeight - height) / 2; horizontalCenter: parent.horizontalCenter }
            iconName: "sidebar"
            name: qsTr("Show sidebar")
            keys: Workbench.keys("toggleSidebar", Workbench.keysRevision)
            onClicked: Workbench.run("toggleSidebar")
        }
        Divider { anchors { top: parent.top; bottom: parent.bottom; left: parent.right } width: 1 }
    }
    Sidebar {
        id: sidebar

        z: 2
        anchors { top: parent.top; bottom: parent.bottom; left: parent.left }
        visible: regions.isNarrow ? regions.sidebarLiesOver : regions.placement.sidebarShown
        width: Math.min(regions.sidebarWidth, regions.width - Theme.unit * 20)
        listShown: content.visible
        Keys.onEscapePressed: event => { event.accepted = regions.sidebarLiesOver; regions.goToDetail() }
    }
    Divider {
        id: sidebarEdge

        z: 2
        anchors { top: parent.top; bottom: parent.bottom; left: sidebar.right }
        visible: sidebar.visible
        width: 1
    }
    ResizeHandle {
        z: 2
        anchors { top: parent.top; bottom: parent.bottom; horizontalCenter: sidebarEdge.horizontalCenter }
        visible: sidebar.visible
        name: qsTr("Width of the sidebar")
        value: regions.placement.sidebarWidth
        onMoved: value => regions.placement.sidebarWidth = value
    }
    MouseArea {
        z: 1
        anchors.fill: content
        visible: regions.listLiesOver
        hoverEnabled: true
        onWheel: event => event.accepted = true
    }
    ContentColumn {
        id: content

        z: regions.listLiesOver ? 1 : 0
        anchors { top: parent.top; bottom: parent.bottom; left: parent.left; leftMargin: regions.leftOfContent }
        visible: regions.hasContent && (regions.hasRoomForContent || regions.listLiesOver || Workbench.detailKind === Workbench.None && !presence.isEmpty)
        width: !visible ? 0 : regions.hasRoomForContent ? regions.contentWidth : regions.width - regions.leftOfContent
        onActiveFocusChanged: if (activeFocus) regions.sidebarLiesOver = false
        Keys.onEscapePressed: event => { event.accepted = regions.listLiesOver; if (event.accepted) regions.goToDetail() }
    }
    Divider {
        id: contentEdge

        anchors { top: parent.top; bottom: parent.bottom; left: content.right }
        visible: content.visible
        width: visible ? 1 : 0
    }
    ResizeHandle {
        anchors { top: parent.top; bottom: parent.bottom; horizontalCenter: contentEdge.horizontalCenter }
        visible: content.visible && regions.hasRoomForContent
        name: qsTr("Width of the list")
        value: regions.placement.contentWidth
        minimumValue: 240
        maximumValue: 480
        onMoved: value => regions.placement.contentWidth = value
    }
    FocusScope {
        id: detail

        anchors { top: parent.top; bottom: parent.bottom; left: regions.listLiesOver ? content.left : contentEdge.right; right: parent.right }
        focus: true
        visible: width > Theme.unit
        Accessible.role: Accessible.Grouping
        Accessible.name: qsTr("Conversation")

        onActiveFocusChanged: if (activeFocus) regions.sidebarLiesOver = regions.listLiesOver = false
        Keys.onEscapePressed: event => event.accepted = page.takeEscape()

        ConversationPage {
            id: page

            anchors { top: parent.top; bottom: composer.top; left: parent.left; right: parent.right }
            visible: Workbench.detailKind === Workbench.Conversation
            covered: notices.visible && notices.stage === detail ? notices.height + Theme.unit * 2 : 0
        }
        NewConversationPage {
            anchors { top: parent.top; bottom: composer.top; left: parent.left; right: parent.right }
            visible: Workbench.detailKind === Workbench.NewConversation
        }
        Ways {
            x: Theme.unit * 2
            y: (Theme.headHeight - height) / 2
            z: 1
            visible: Workbench.detailKind !== Workbench.Conversation
        }
        EmptyState {
            anchors.fill: parent
            visible: Workbench.detailKind === Workbench.None && presence.hasProjects
            words: qsTr("No conversation is selected.")
            offer: qsTr("New conversation")
            onAccepted: Workbench.run("newConversation")
        }
        EmptyState {
            anchors.fill: parent
            visible: Workbench.detailKind === Workbench.None && presence.isEmpty
            words: qsTr("Add a folder to work in.")
            explanation: qsTr("Folders can be dropped anywhere on this window.")
            note: presence.readyAgents
            offer: qsTr("Add project")
            onAccepted: Workbench.run("addNewProject")
        }
        Composer {
            id: composer

            anchors { bottom: parent.bottom; left: parent.left; right: parent.right }
            visible: Workbench.detailKind === Workbench.Conversation || Workbench.detailKind === Workbench.NewConversation
            onSent: page.toEnd()
        }
    }
    Rectangle {
        z: 1
        anchors.fill: parent
        visible: regions.sidebarLiesOver
        color: Theme.isDark ? "#80000000" : "#40000000"
        TapHandler { onTapped: regions.goToDetail() }
    }
    NoticeList {
        id: notices

        // Beneath the sidebar that lies over what it tells of.
        z: regions.sidebarLiesOver ? 1 : 3
        x: Math.round(stage.x + (stage.width - width) / 2)
        y: Math.max(Theme.unit * 2, stage.height - (stage === detail ? composer.implicitHeight : 0) - height - Theme.unit * 2)
        room: stage.width - Theme.unit * 10

        readonly property Item stage: detail.width >= Theme.unit * 60 ? detail : regions
    }
    ProjectPresence { id: presence; onChanged: if (isEmpty) ring.enter(detail) }
    RegionRing { id: ring; regions: [notices, sidebar, content, detail] }
    KeyboardKeeper { id: keyboard; within: regions; onLost: ring.previous() }
    // Fields keep the keys of undo for what is written in them.
    Keys.onPressed: event => event.accepted = event.matches(StandardKey.Undo) ? Workbench.notices.undoLatest() : keyboard.takeKey(event.text, event.modifiers)
    Connections {
        target: Workbench
        function onSelectionChanged() { if (regions.sidebarLiesOver || regions.listLiesOver) regions.goToDetail() }
        function onListRequested() { if (!regions.hasRoomForContent) regions.bringList() }
    }
    CommandHandler { command: "nextRegion"; onTriggered: ring.next() }
    CommandHandler { command: "previousRegion"; onTriggered: ring.previous() }
    CommandHandler {
        command: "toggleSidebar"
        enabled: !regions.isNarrow
        onTriggered: { regions.placement.sidebarShown = !regions.placement.sidebarShown; regions.followSidebar(regions.placement.sidebarShown) }
    }
    CommandHandler {
        command: "toggleSidebar"
        enabled: regions.isNarrow
        onTriggered: { regions.sidebarLiesOver = !regions.sidebarLiesOver; regions.followSidebar(regions.sidebarLiesOver) }
    }
}
