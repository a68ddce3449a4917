import QtQuick
import QtQuick.Controls.Basic as Basic
import Ravant.Theme

/// A button that is an icon; its name is read aloud, and shown as a hint where no shorter one is given.
Basic.AbstractButton {
    id: button

    required property string iconName
    required property string name
    property string hint: name
    property string keys
    property color ink: Theme.dim
    property color ground: "transparent"

    implicitWidth: Theme.rowHeight
    implicitHeight: Theme.rowHeight
    focusPolicy: Qt.StrongFocus
    opacity: enabled ? 1 : 0.4
    Keys.onReturnPressed: button.clicked()
    Keys.onEnterPressed: button.clicked()
    Accessible.name: name
    Accessible.description: enabled ? "" : qsTr("not available")
    Accessible.onPressAction: clicked()

    contentItem: Item {
        ThemeIcon { anchors.centerIn: parent; name: button.iconName; color: button.ink }
    }
    background: Rectangle {
        radius: Theme.rowRadius
        color: button.enabled && (button.down || button.hovered) ? Theme.hover : button.checked ? Theme.accentGround : button.ground
        FocusRing { control: button }
    }
    Hint { control: button; text: button.hint; keys: button.keys }
}
