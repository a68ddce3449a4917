import QtQuick
import Ravant.Conversation
import Ravant.Controls
import Ravant.Theme

/// One call of a tool, in one line that unfolds to what went in and came out.
Item {
    id: call

    required property RowItem row
    readonly property bool isFailed: row.outcome === TranscriptWindow.Failed

    implicitHeight: Theme.smallRowHeight

    Rectangle { x: Theme.unit * 1.5; width: 1; height: parent.height; color: Theme.line }
    Rectangle {
        anchors { fill: parent; leftMargin: Theme.unit * 4; rightMargin: -Theme.unit }
        radius: Theme.rowRadius
        color: pointer.hovered ? Theme.hover : "transparent"
    }
    ThemeIcon {
        id: kind

        x: Theme.unit * 5
        anchors.verticalCenter: parent.verticalCenter
        name: call.row.iconName
        color: Theme.dim
    }
    PlainLabel {
        id: verb

        anchors { left: kind.right; leftMargin: Theme.unit; verticalCenter: parent.verticalCenter }
        width: Math.max(Theme.unit * 10, implicitWidth)
        text: call.row.label
        color: Theme.dim
        font.pixelSize: Theme.secondarySize
    }
    PlainLabel {
        anchors { left: verb.right; leftMargin: Theme.unit; right: result.left; rightMargin: Theme.unit * 2; baseline: verb.baseline }
        text: call.row.words
        font { family: Theme.codeFont; pixelSize: Theme.secondarySize; preferShaping: false }
    }
    PlainLabel {
        id: result

        anchors { right: mark.left; rightMargin: Theme.unit * 2; baseline: verb.baseline }
        text: call.row.detail
        color: call.isFailed ? Theme.bad : Theme.faint
        font.pixelSize: Theme.secondarySize
    }
    Item {
        id: mark

        anchors { right: parent.right; verticalCenter: parent.verticalCenter }
        width: Theme.iconSize
        height: Theme.iconSize
        RunningMark { anchors.centerIn: parent; visible: call.row.outcome === TranscriptWindow.Running }
        ThemeIcon {
            anchors.fill: parent
            visible: call.row.outcome !== TranscriptWindow.Running
            name: call.isFailed ? "cross" : "check"
            color: call.isFailed ? Theme.bad : Theme.good
        }
    }
    HoverHandler { id: pointer }
    TapHandler { onTapped: call.row.toggled() }
}
