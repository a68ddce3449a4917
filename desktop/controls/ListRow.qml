import QtQuick
import Ravant.Controls
import Ravant.Theme

/// A row of a list or a tree: the list has the focus, and the row shows whether it is the current one. Its name says its
/// state too.
Item {
    id: row

    required property string name
    property bool selected: false
    property bool current: false
    /// In a list that floats, the selected row is the only one that stands out: `PointerChoice` selects what is pointed at.
    property bool floats: false
    /// Whether a menu for it is open.
    property bool hasMenu: false
    readonly property bool hovered: pointer.hovered
    /// Of what is faint in it, so that it is read on its ground.
    readonly property color faint: selected && floats ? Theme.dim : Theme.faint
    default property alias content: inside.data
    readonly property bool hasFocus: current && (ListView.view?.activeFocus ?? false)
    readonly property bool isBesideScrollBar: (ListView.view?.contentHeight ?? 0) > (ListView.view?.height ?? 0)

    signal clicked
    signal menuRequested

    implicitHeight: Theme.rowHeight
    Accessible.role: Accessible.ListItem
    Accessible.name: name
    Accessible.focusable: true
    Accessible.focused: hasFocus
    Accessible.selectable: true
    Accessible.selected: selected
    Accessible.onPressAction: clicked()

    Item {
        id: inside

        anchors { fill: parent; rightMargin: row.isBesideScrollBar ? Theme.unit * 2 : 0 }

        Rectangle {
            anchors { fill: parent; leftMargin: Theme.unit; rightMargin: Theme.unit }
            radius: Theme.rowRadius
            color: row.selected ? row.floats ? Theme.raisedSelected : Theme.selected : (row.hovered && !row.floats) || row.hasMenu ? Theme.hover : "transparent"
            border { width: row.hasFocus && LastInput.byKeys ? 2 : 0; color: Theme.accent }
        }
    }
    HoverHandler { id: pointer }
    TapHandler { onTapped: row.clicked() }
    TapHandler { acceptedButtons: Qt.RightButton; onTapped: row.menuRequested() }
}
