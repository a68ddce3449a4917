import QtQuick
import Ravant.Composer
import Ravant.Controls
import Ravant.Theme

/// A prompt that waits.
ListRow {
    id: row

    required property QueuedPrompts queue
    required property int index
    required property string text
    required property bool isFirst
    required property bool isLast
    /// Whether nothing runs that it waits for.
    property bool isHeld
    /// The list's scroll bar stands at its end.
    property bool isBesideBar

    /// At its button, with the first of it marked for who works by keys.
    function openMenu() { menu.popup(row, row.width - menu.width - Theme.unit * 2, -menu.implicitHeight) }
    function openMenuByKeys() { openMenu(); menu.currentIndex = 0 }

    implicitHeight: Theme.rowHeight
    onClicked: ListView.view.currentIndex = index
    onMenuRequested: openMenu()

    ThemeIcon {
        id: mark

        anchors { left: parent.left; leftMargin: Theme.unit * 3; verticalCenter: parent.verticalCenter }
        name: "queue"
    }
    PlainLabel {
        anchors { left: mark.right; leftMargin: Theme.unit * 2; right: actions.left; rightMargin: Theme.unit * 2; verticalCenter: parent.verticalCenter }
        text: row.text
        color: Theme.dim
    }
    Row {
        id: actions

        anchors { right: parent.right; rightMargin: Theme.unit * (row.isBesideBar ? 4 : 2); verticalCenter: parent.verticalCenter }
        IconButton {
            visible: row.width > Theme.unit * 80
            focusPolicy: Qt.NoFocus
            iconName: "pencil"
            name: qsTr("Edit")
            onClicked: row.queue.edit(row.index)
        }
        IconButton {
            visible: row.width > Theme.unit * 80
            focusPolicy: Qt.NoFocus
            iconName: "cross"
            name: qsTr("Remove")
            onClicked: row.queue.remove(row.index)
        }
        IconButton {
            focusPolicy: Qt.NoFocus
            iconName: "more"
            name: qsTr("More")
            onClicked: row.openMenu()
        }
    }
    MenuPopup {
        id: menu

        onClosed: row.ListView.view?.forceActiveFocus()

        MenuEntry { text: qsTr("Edit"); onTriggered: row.queue.edit(row.index) }
        MenuEntry { text: row.isHeld ? qsTr("Send now") : qsTr("Put first"); enabled: row.isHeld || !row.isFirst; onTriggered: row.queue.sendNow(row.index) }
        MenuEntry { text: qsTr("Move up"); keys: "Shift Up"; enabled: !row.isFirst; onTriggered: row.queue.move(row.index, -1) }
        MenuEntry { text: qsTr("Move down"); keys: "Shift Down"; enabled: !row.isLast; onTriggered: row.queue.move(row.index, 1) }
        MenuEntry { text: qsTr("Remove"); keys: "Del"; onTriggered: row.queue.remove(row.index) }
    }
}
