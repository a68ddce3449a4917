import QtQuick
import Ravant.Controls
import Ravant.Sidebar
import Ravant.Theme

/// A row of the tree: a project, one of its conversations, or the words below them.
ListRow {
    id: row

    required property int index
    required property int kind
    required property string projectId
    required property string conversationId
    required property string title
    required property string spokenName
    required property int shownState
    required property string newCount
    required property string aside
    required property string description
    required property bool isOpen
    /// Whether its name is being changed.
    property bool renames: false
    /// Whether it is the row of the conversation that is shown, be it selected here or in a list.
    property bool isOpened: false
    readonly property bool isProject: kind === SidebarRows.Project
    readonly property bool isConversation: kind === SidebarRows.Conversation
    /// Of the project or the conversation that it is the row of; else empty.
    readonly property string ownId: isProject ? projectId : conversationId
    readonly property bool isQuiet: !isProject && shownState === SidebarRows.Quiet

    signal folded
    signal renamed(string words)
    signal renameLeft
    /// The pointer holds the row, at this height of the list.
    signal dragged(real y)
    signal dropped

    name: spokenName
    Accessible.description: description

    DragHandler {
        target: null
        enabled: row.isProject && !row.renames
        acceptedDevices: PointerDevice.Mouse
        grabPermissions: PointerHandler.CanTakeOverFromAnything
        onCentroidChanged: if (active) row.dragged(row.y + centroid.position.y)
        onActiveChanged: if (!active) row.dropped()
    }
    ThemeIcon {
        id: chevron

        anchors { left: parent.left; leftMargin: Theme.unit * 2.5; verticalCenter: parent.verticalCenter }
        visible: row.isProject
        width: Theme.unit * 3
        height: width
        name: row.isOpen ? "chevron-down" : "chevron-right"

        MouseArea { anchors { fill: parent; margins: -Theme.unit * 2 } onClicked: row.folded() }
    }
    StateMark {
        anchors { left: parent.left; leftMargin: Theme.unit * 6; verticalCenter: parent.verticalCenter }
        visible: row.isConversation
        shownState: row.isConversation ? row.shownState : SidebarRows.Quiet
    }
    PlainLabel {
        id: words

        anchors {
            left: parent.left
            leftMargin: row.isProject ? Theme.unit * 8 : Theme.unit * 12
            right: beside.visible ? beside.left : parent.right
            rightMargin: Theme.unit * 2
            verticalCenter: parent.verticalCenter
        }
        visible: !row.renames
        horizontalAlignment: Text.AlignLeft
        text: row.title
        color: row.isQuiet && !row.isOpened ? Theme.dim : Theme.text
        font.weight: row.isProject ? Font.DemiBold : row.shownState === SidebarRows.Unread ? Font.Medium : Font.Normal
    }
    Row {
        id: beside

        anchors { right: parent.right; rightMargin: Theme.unit * 3; verticalCenter: parent.verticalCenter }
        visible: !row.renames
        spacing: Theme.unit

        StateMark {
            anchors.verticalCenter: parent.verticalCenter
            visible: row.isProject && row.shownState !== SidebarRows.Quiet
            shownState: row.isProject ? row.shownState : SidebarRows.Quiet
        }
        RowAside {
            anchors.verticalCenter: parent.verticalCenter
            faint: row.faint
            shownState: row.shownState
            newCount: row.newCount
            words: row.aside
        }
    }
    Loader {
        id: editor

        anchors { left: words.left; leftMargin: -Theme.unit * 2; right: parent.right; rightMargin: Theme.unit * 2; verticalCenter: parent.verticalCenter }
        active: row.renames
        sourceComponent: RowEditor { implicitHeight: Theme.rowHeight - Theme.unit }
        onLoaded: (item as RowEditor).begin(row.title)
    }
    Connections {
        target: editor.item as RowEditor
        enabled: row.renames
        function onTaken(words: string) { row.renamed(words); }
        // The keyboard's place among the rows, unless it has gone to another one.
        function onAbandoned() { if (editor.focus) row.focus = true; row.renameLeft(); }
    }
}
