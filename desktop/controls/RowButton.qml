import QtQuick
import QtQuick.Controls.Basic as Basic
import Ravant.Theme

/// A button as wide as a list, which looks like one of its rows.
Basic.AbstractButton {
    id: button

    required property string iconName
    property string keys
    property bool selected: false

    implicitHeight: Theme.rowHeight
    focusPolicy: Qt.StrongFocus
    Keys.onReturnPressed: button.clicked()
    Keys.onEnterPressed: button.clicked()
    Accessible.name: text
    Accessible.onPressAction: clicked()

    contentItem: Item {
        ThemeIcon {
            anchors { left: parent.left; leftMargin: Theme.unit * 2.5; verticalCenter: parent.verticalCenter }
            name: button.iconName
        }
        PlainLabel {
            anchors { left: parent.left; leftMargin: Theme.unit * 8; right: parent.right; rightMargin: Theme.unit * 2; verticalCenter: parent.verticalCenter }
            mustFit: true
            text: button.text
            color: button.selected ? Theme.text : Theme.dim
        }
    }
    background: Item {
        Rectangle {
            anchors { fill: parent; leftMargin: Theme.unit; rightMargin: Theme.unit }
            radius: Theme.rowRadius
            color: button.selected ? Theme.selected : button.down || button.hovered ? Theme.hover : "transparent"
            FocusRing { control: button }
        }
    }
    Hint { control: button; text: button.keys === "" ? "" : button.text; keys: button.keys }
}
