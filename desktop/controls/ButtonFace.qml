import QtQuick
import Ravant.Theme

/// What stands on a button, in its middle.
Item {
    id: face

    required property string words
    required property color ink
    /// Empty for none.
    property string iconName

    implicitWidth: row.implicitWidth
    implicitHeight: row.implicitHeight
    Row {
        id: row

        anchors.centerIn: parent
        spacing: face.iconName === "stop" ? Theme.unit : Theme.unit * 2
        ThemeIcon {
            anchors.verticalCenter: parent.verticalCenter
            visible: face.iconName !== ""
            name: face.iconName
            color: face.ink
        }
        PlainLabel {
            anchors.verticalCenter: parent.verticalCenter
            width: Math.min(implicitWidth, face.width - x)
            mustFit: true
            text: face.words
            color: face.ink
        }
    }
}
