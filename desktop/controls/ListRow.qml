import QtQuick
import Ravant.Theme

/// A row of a list or a tree: the list has the focus, and the row shows whether it is the current one. Its name says its
/// state too.
Item {
    id: row

    required property string name
    property bool selected: false
    property bool current: false
    /// Whether a menu for it is open.
    property bool hasMenu: false
    readonly property bool hovered: pointer.hovered
    default property alias content: inside.data

    signal clicked
    signal menuRequested

    implicitHeight: Theme.rowHeight
    Accessible.role: Accessible.ListItem
    Accessible.name: name
    Accessible.focusable: true
    Accessible.focused: current && (ListView.view?.activeFocus ?? false)
    Accessible.selectable: true
    Accessible.selected: selected
    Accessible.onPressAction: clicked()

    Rectangle {
        anchors { fill: parent; leftMargin: Theme.unit; rightMargin: Theme.unit }
        radius: 6
        color: row.selected ? Theme.selected : row.hovered || row.hasMenu ? Theme.hover : "transparent"
        border { width: row.current && (row.ListView.view?.activeFocus ?? false) ? 2 : 0; color: Theme.accent }
    }
    Item { id: inside; anchors.fill: parent }
    HoverHandler { id: pointer }
    TapHandler { onTapped: row.clicked() }
    TapHandler { acceptedButtons: Qt.RightButton; onTapped: row.menuRequested() }
}
