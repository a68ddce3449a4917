import QtQuick
import Ravant.Controls
import Ravant.Theme

/// The files that go with a prompt.
Flow {
    id: chips

    required property list<string> attachments

    signal detached(int index)

    visible: repeater.count > 0
    spacing: Theme.unit
    Accessible.role: Accessible.List
    Accessible.name: qsTr("Attachments")

    Repeater {
        id: repeater

        model: chips.attachments

        Rectangle {
            id: chip

            required property int index
            required property string modelData

            width: content.width
            height: Theme.smallRowHeight
            radius: 6
            color: Theme.sunken
            border { width: 1; color: Theme.line }
            Accessible.role: Accessible.ListItem
            Accessible.name: modelData

            Row {
                id: content

                height: parent.height
                leftPadding: Theme.unit * 2
                spacing: Theme.unit
                ThemeIcon { anchors.verticalCenter: parent.verticalCenter; name: "file" }
                PlainLabel {
                    anchors.verticalCenter: parent.verticalCenter
                    width: Math.min(implicitWidth, Theme.unit * 80, chips.width - Theme.unit * 16)
                    elide: Text.ElideMiddle
                    text: chip.modelData
                    font.pixelSize: Theme.secondarySize
                }
                IconButton {
                    width: Theme.smallRowHeight
                    height: Theme.smallRowHeight
                    iconName: "cross"
                    name: qsTr("Remove %1").arg(chip.modelData)
                    onClicked: chips.detached(chip.index)
                }
            }
        }
    }
}
