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

    visible: words !== ""
    spacing: Theme.unit * 2
    rightPadding: Theme.unit * 2
    Accessible.role: Accessible.StaticText
    Accessible.name: isNearlyFull ? qsTr("Context nearly full, %1 tokens").arg(words) : qsTr("Context, %1 tokens").arg(words)

    Rectangle {
        anchors.verticalCenter: parent.verticalCenter
        width: Theme.unit * 12
        height: 3
        radius: 1.5
        color: Theme.line

        Rectangle {
            width: parent.width * meter.share
            height: parent.height
            radius: parent.radius
            color: meter.isNearlyFull ? Theme.attention : Theme.accent
        }
    }
    PlainLabel {
        anchors.verticalCenter: parent.verticalCenter
        text: meter.words
        color: meter.isNearlyFull ? Theme.attention : Theme.dim
        font { pixelSize: Theme.secondarySize; weight: meter.isNearlyFull ? Font.Medium : Font.Normal }
    }
}
