import QtQuick
import QtQuick.Controls.Basic as Basic
import Ravant.Theme

/// A button that looks like the field it opens, with its keys.
Basic.AbstractButton {
    id: button

    required property string iconName
    property string keys

    implicitHeight: Theme.unit * 8
    focusPolicy: Qt.StrongFocus
    Keys.onReturnPressed: button.clicked()
    Keys.onEnterPressed: button.clicked()
    Accessible.name: text
    Accessible.onPressAction: clicked()

    contentItem: Item {
        ThemeIcon {
            anchors { left: parent.left; leftMargin: Theme.unit * 2; verticalCenter: parent.verticalCenter }
            name: button.iconName
        }
        PlainLabel {
            anchors { left: parent.left; leftMargin: Theme.unit * 8; right: shortcut.left; rightMargin: Theme.unit; verticalCenter: parent.verticalCenter }
            mustFit: true
            text: button.text
            color: Theme.dim
        }
        PlainLabel {
            id: shortcut

            anchors { right: parent.right; rightMargin: Theme.unit * 2; verticalCenter: parent.verticalCenter }
            mustFit: true
            text: button.keys
            color: Theme.faint
            font.pixelSize: Theme.secondarySize
        }
    }
    background: Rectangle {
        radius: Theme.rowRadius
        color: Theme.raised
        border { width: 1; color: button.down || button.hovered ? Theme.dim : Theme.strongLine }
        FocusRing { control: button }
    }
}
