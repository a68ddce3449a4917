import QtQuick
import Ravant.Conversation
import Ravant.Controls
import Ravant.Theme

/// What a run does or waits for; what the agent thinks unfolds below it.
Item {
    id: progress

    required property RowItem row
    readonly property bool isReasoning: row.kind === TranscriptWindow.Reasoning

    implicitHeight: Theme.rowHeight + (thoughts.visible ? thoughts.implicitHeight + Theme.unit * 2 : 0)

    Item {
        id: line

        width: parent.width
        height: Theme.rowHeight
        ThemeIcon {
            id: fold

            anchors.verticalCenter: parent.verticalCenter
            name: progress.isReasoning ? progress.row.isOpen ? "chevron-down" : "chevron-right" : "clock"
            color: Theme.faint
        }
        PlainLabel {
            id: label

            anchors { left: fold.right; leftMargin: Theme.unit; verticalCenter: parent.verticalCenter }
            text: progress.row.label
            color: Theme.dim
        }
        PlainLabel {
            anchors { left: label.right; leftMargin: Theme.unit * 2; right: mark.left; verticalCenter: parent.verticalCenter }
            text: progress.isReasoning || progress.row.words === "" ? progress.row.detail : progress.row.words
            color: Theme.faint
            font.pixelSize: Theme.secondarySize
        }
        RunningMark {
            id: mark

            anchors { right: parent.right; verticalCenter: parent.verticalCenter }
            visible: progress.row.outcome === TranscriptWindow.Running
        }
        TapHandler { onTapped: progress.row.toggled() }
    }
    RowText {
        id: thoughts

        row: progress.row
        anchors { top: line.bottom; left: parent.left; leftMargin: Theme.unit * 5; right: parent.right }
        visible: progress.isReasoning && progress.row.isOpen
        text: visible ? progress.row.words : ""
        color: Theme.dim
        font.pixelSize: Theme.interfaceSize
    }
}
