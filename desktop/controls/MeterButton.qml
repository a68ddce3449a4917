import QtQuick
import QtQuick.Controls.Basic as Basic
import Ravant.Controls
import Ravant.Theme

/// How much of something is taken, as words and a bar; its figures show while the pointer or the keyboard is on it, and
/// stay after a press until it is left.
Basic.AbstractButton {
    id: meter

    /// What is taken: "Context".
    required property string subject
    /// Empty where it is not known: nothing is shown.
    required property string words
    /// A line each.
    required property string figures
    /// 0 where only the words are known.
    required property real share
    required property bool isNearlyFull
    /// Where there is room for the words only.
    property bool isNarrow
    readonly property bool hasBar: share > 0
    readonly property real narrowWidth: visible ? label.implicitWidth + leftPadding + rightPadding : 0
    readonly property real fullWidth: visible ? narrowWidth + (hasBar ? bar.width + row.spacing : 0) : 0

    visible: words !== ""
    implicitHeight: Theme.rowHeight
    leftPadding: Theme.unit * 2
    rightPadding: Theme.unit * 2
    focusPolicy: Qt.StrongFocus
    Keys.onReturnPressed: meter.clicked()
    Keys.onEnterPressed: meter.clicked()
    onClicked: hint.isKept = !hint.isKept
    Accessible.ignored: !visible
    Accessible.name: (isNearlyFull ? qsTr("%1 nearly full, %2 tokens") : qsTr("%1, %2 tokens")).arg(subject).arg(words)
    Accessible.description: figures
    Accessible.onPressAction: clicked()

    contentItem: Item {
        implicitWidth: row.implicitWidth
        Row {
            id: row

            anchors.verticalCenter: parent.verticalCenter
            spacing: Theme.unit * 2

            Rectangle {
                id: bar

                anchors.verticalCenter: parent.verticalCenter
                visible: meter.hasBar && !meter.isNarrow
                width: Theme.unit * 12
                height: 3
                radius: height / 2
                color: meter.down || meter.hovered ? Theme.strongLine : Theme.line

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
    }
    background: Rectangle {
        radius: Theme.rowRadius
        color: meter.down || meter.hovered ? Theme.hover : "transparent"
        FocusRing { control: meter }
    }
    HintBubble {
        id: hint

        property bool isKept: false

        visible: meter.visible && (isKept || meter.hovered || meter.visualFocus && LastInput.byKeys)
        delay: isKept ? 0 : 600
        timeout: -1
        text: meter.figures
    }
    onHoveredChanged: if (!hovered && !activeFocus) hint.isKept = false
    onActiveFocusChanged: if (!activeFocus && !hovered) hint.isKept = false
}
