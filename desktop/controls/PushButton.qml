import QtQuick
import QtQuick.Controls.Basic as Basic
import Ravant.Theme

/// A button with words.
Basic.AbstractButton {
    id: button

    enum Weight { Ordinary, Primary, Quiet }

    property int weight: PushButton.Ordinary
    /// Shown in front of the words; empty for none.
    property string iconName
    property string hint
    property string keys
    readonly property color ink: weight === PushButton.Primary ? Theme.textOnAccent : Theme.text
    readonly property bool isTouched: enabled && (down || hovered)
    readonly property color ground: weight === PushButton.Primary ? Theme.accent : weight === PushButton.Quiet ? "transparent" : Theme.raised
    readonly property color touchedGround: weight === PushButton.Primary ? Qt.tint(Theme.accent, Theme.isDark ? "#30ffffff" : "#30000000") : weight === PushButton.Quiet ? Theme.hover : Theme.raisedSelected

    implicitHeight: Theme.rowHeight
    implicitWidth: Math.max(Theme.unit * 16, implicitContentWidth + Theme.unit * 6)
    focusPolicy: Qt.StrongFocus
    opacity: enabled ? 1 : 0.5
    Keys.onReturnPressed: button.clicked()
    Keys.onEnterPressed: button.clicked()
    Accessible.name: text
    Accessible.description: enabled ? "" : qsTr("not available")
    Accessible.onPressAction: clicked()

    contentItem: ButtonFace { iconName: button.iconName; words: button.text; ink: button.ink }
    background: Rectangle {
        radius: Theme.rowRadius
        color: button.isTouched ? button.touchedGround : button.ground
        border { width: button.weight === PushButton.Ordinary ? 1 : 0; color: Theme.strongLine }
        FocusRing { control: button; anchors.margins: -3; radius: Theme.blockRadius }
    }
    Hint { control: button; text: button.hint; keys: button.keys }
}
