import QtQuick
import Ravant.Controls
import Ravant.Theme

/// How much of the agent's context is taken.
Row {
    id: meter

    /// Empty where it is not known.
    required property string words
    required property real share
    required property bool isNearlyFull
    /// Where there is room for the words only.
    property bool isNarrow
    readonly property real narrowWidth: visible ? label.implicitWidth + rightPadding + Theme.unit : 0
    readonly property real fullWidth: visible ? narrowWidth + bar.width + spacing : 0

    visible: words !== ""
    spacing: Theme.unit * 2
    rightPadding: Theme.unit * 2
    Accessible.role: Accessible.StaticText
    Accessible.ignored: !visible
    Accessible.name: isNearlyFull ? qsTr("Context nearly full, %1 tokens").arg(words) : qsTr("Context, %1 tokens").arg(words)

    HoverHandler { id: pointer }
    Hint { visible: pointer.hovered && meter.visible; text: qsTr("Context: %1 tokens").arg(meter.words) }
    Rectangle {
        id: bar

        anchors.verticalCenter: parent.verticalCenter
        visible: !meter.isNarrow
        width: Theme.unit * 12
        height: 3
        radius: 1.5
        color: Theme.line

        Rectangle {
            width: Math.max(height, parent.width * meter.share)
            height: parent.height
            radius: parent.radius
            color: meter.isNearlyFull ? Theme.attention : Theme.accent
        }
    }
    PlainLabel {
        id: label

        anchors.verticalCenter: parent.verticalCenter
        text: meter.words
        color: meter.isNearlyFull ? Theme.attention : Theme.dim
        font { pixelSize: Theme.secondarySize; weight: meter.isNearlyFull ? Font.Medium : Font.Normal }
    }
}
