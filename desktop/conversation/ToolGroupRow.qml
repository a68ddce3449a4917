import QtQuick
import Ravant.Conversation
import Ravant.Controls
import Ravant.Theme

/// What an agent did with its tools, in one line that unfolds.
Item {
    id: group

    required property RowItem row

    implicitHeight: Theme.rowHeight

    Rectangle {
        anchors { fill: parent; leftMargin: -Theme.unit; rightMargin: -Theme.unit }
        radius: Theme.rowRadius
        color: pointer.hovered ? Theme.hover : "transparent"
    }
    ThemeIcon {
        id: fold

        anchors.verticalCenter: parent.verticalCenter
        name: group.row.isOpen ? "chevron-down" : "chevron-right"
        color: Theme.faint
    }
    PlainLabel {
        id: label

        anchors { left: fold.right; leftMargin: Theme.unit; verticalCenter: parent.verticalCenter }
        width: Math.min(implicitWidth, parent.width - x - Theme.unit * 8)
        text: group.row.label
        color: Theme.dim
    }
    PlainLabel {
        id: subject

        anchors { left: label.right; leftMargin: Theme.unit * 2; baseline: label.baseline }
        width: Math.max(0, Math.min(implicitWidth, parent.width - x - Theme.unit * 20))
        text: group.row.isOpen ? "" : group.row.words
        color: Theme.dim
        font { family: Theme.codeFont; pixelSize: Theme.secondarySize; preferShaping: false }
    }
    PlainLabel {
        anchors { left: subject.right; leftMargin: subject.text === "" ? 0 : Theme.unit * 2; right: mark.left; baseline: label.baseline }
        text: group.row.detail
        color: Theme.faint
        font.pixelSize: Theme.secondarySize
    }
    Item {
        id: mark

        anchors { right: parent.right; verticalCenter: parent.verticalCenter }
        width: Theme.iconSize
        height: Theme.iconSize
        RunningMark { anchors.centerIn: parent; visible: group.row.outcome === TranscriptWindow.Running }
        ThemeIcon {
            anchors.fill: parent
            visible: group.row.outcome === TranscriptWindow.Failed && !group.row.isOpen
            name: "cross"
            color: Theme.bad
        }
    }
    HoverHandler { id: pointer }
    TapHandler { onTapped: group.row.toggled() }
}
