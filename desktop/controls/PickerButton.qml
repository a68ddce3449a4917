import QtQuick
import QtQuick.Controls.Basic as Basic
import Ravant.Theme

/// A button that shows what is chosen and opens the choice.
Basic.AbstractButton {
    id: button

    /// What is chosen by it: "Model".
    required property string subject
    required property string choice
    /// What it shows, where the choice alone does not say enough.
    property string label: choice
    property string keys
    /// Why there is nothing to choose, where it is not enabled.
    property string obstacle

    implicitHeight: Theme.rowHeight
    implicitWidth: words.implicitWidth + Theme.unit * 4 + (chevron.visible ? Theme.unit * 4 : 0)
    focusPolicy: Qt.StrongFocus
    Keys.onReturnPressed: button.clicked()
    Keys.onEnterPressed: button.clicked()
    Accessible.name: subject + ", " + choice
    Accessible.onPressAction: clicked()

    contentItem: Item {
        PlainLabel {
            id: words

            anchors { left: parent.left; leftMargin: Theme.unit * 2; right: chevron.visible ? chevron.left : parent.right; rightMargin: Theme.unit; verticalCenter: parent.verticalCenter }
            text: button.label
            color: Theme.dim
            font.pixelSize: Theme.secondarySize
        }
        ThemeIcon {
            id: chevron

            anchors { right: parent.right; rightMargin: Theme.unit; verticalCenter: parent.verticalCenter }
            visible: button.enabled
            width: Theme.unit * 3
            height: width
            name: "chevron-down"
            color: Theme.faint
        }
    }
    background: Rectangle {
        radius: Theme.rowRadius
        color: button.enabled && (button.down || button.hovered) ? Theme.hover : "transparent"
        FocusRing { control: button }
    }
    Hint { text: button.enabled || button.obstacle === "" ? button.subject : button.obstacle; keys: button.keys; control: button }
}
