import QtQuick
import Ravant.Controls
import Ravant.Sidebar
import Ravant.Theme

/// A conversation in a list: its state, title and age, and its project beneath where the list is one of all.
ListRow {
    id: row

    required property int index
    required property string projectId
    required property string conversationId
    required property string title
    required property string spokenName
    required property string note
    required property int shownState
    required property string newCount
    required property string aside
    required property string description
    required property bool isArchived
    property bool renames: false

    signal renamed(string words)
    signal renameLeft

    name: spokenName
    Accessible.description: description
    implicitHeight: note === "" ? Theme.rowHeight : Theme.unit * 11

    StateMark {
        id: mark

        anchors { left: parent.left; leftMargin: Theme.unit * 3; verticalCenter: words.verticalCenter }
        shownState: row.shownState
    }
    PlainLabel {
        id: words

        anchors { left: parent.left; leftMargin: Theme.unit * 9; right: beside.left; rightMargin: Theme.unit * 2 }
        y: row.note === "" ? (row.height - height) / 2 : Theme.unit * 1.5
        visible: !row.renames
        horizontalAlignment: Text.AlignLeft
        text: row.title
        color: row.shownState === SidebarRows.Quiet && !row.selected ? Theme.dim : Theme.text
        font.weight: row.shownState === SidebarRows.Unread ? Font.Medium : Font.Normal
    }
    PlainLabel {
        anchors { left: words.left; right: parent.right; rightMargin: Theme.unit * 3; bottom: parent.bottom; bottomMargin: Theme.unit * 1.5 }
        visible: row.note !== "" && !row.renames
        horizontalAlignment: Text.AlignLeft
        text: row.note
        color: row.faint
        font.pixelSize: Theme.secondarySize
    }
    RowAside {
        id: beside

        anchors { right: parent.right; rightMargin: Theme.unit * 3; verticalCenter: words.verticalCenter }
        visible: !row.renames
        faint: row.faint
        shownState: row.shownState
        newCount: row.newCount
        words: row.aside
    }
    Loader {
        id: editor

        anchors { left: words.left; leftMargin: -Theme.unit * 2; right: parent.right; rightMargin: Theme.unit * 2; verticalCenter: words.verticalCenter }
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
