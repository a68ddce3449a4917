import QtQuick
import QtQuick.Layouts
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
    RowLayout {
        id: row

        anchors.centerIn: parent
        width: Math.min(implicitWidth, face.width)
        spacing: face.iconName === "stop" ? Theme.unit : Theme.unit * 2
        ThemeIcon {
            visible: face.iconName !== ""
            name: face.iconName
            color: face.ink
        }
        PlainLabel {
            Layout.fillWidth: true
            mustFit: true
            text: face.words
            color: face.ink
        }
    }
}
