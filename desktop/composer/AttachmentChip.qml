import QtQuick
import Ravant.Controls
import Ravant.Theme

/// What goes with a prompt: a file, or a text that is too long to be shown.
Rectangle {
    id: chip

    required property string words
    /// The greatest width.
    required property real room
    /// What else can be done with it than to remove it; empty where there is nothing.
    property string offer

    signal removed
    signal accepted

    width: content.implicitWidth
    height: Theme.smallRowHeight
    radius: Theme.rowRadius
    color: Theme.sunken
    border { width: 1; color: Theme.line }
    Accessible.role: Accessible.ListItem
    Accessible.name: words

    Row {
        id: content

        height: parent.height
        leftPadding: Theme.unit * 2
        spacing: Theme.unit
        ThemeIcon { anchors.verticalCenter: parent.verticalCenter; name: "file" }
        PlainLabel {
            anchors.verticalCenter: parent.verticalCenter
            width: Math.min(implicitWidth, Theme.unit * 80, chip.room - Theme.unit * 16 - (show.visible ? show.width : 0))
            elide: Text.ElideMiddle
            text: chip.words
            font.pixelSize: Theme.secondarySize
        }
        PushButton {
            id: show

            height: parent.height
            weight: PushButton.Quiet
            visible: chip.offer !== ""
            text: chip.offer
            onClicked: chip.accepted()
        }
        IconButton {
            width: Theme.smallRowHeight
            height: Theme.smallRowHeight
            iconName: "cross"
            name: qsTr("Remove %1").arg(chip.words)
            onClicked: chip.removed()
        }
    }
}
