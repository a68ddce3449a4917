import QtQuick
import Ravant.Conversation
import Ravant.Controls
import Ravant.Theme

/// Why a run failed or was interrupted, with the way on.
Rectangle {
    id: failure

    required property RowItem row
    readonly property bool isInterrupted: row.kind === TranscriptWindow.Interrupted

    implicitHeight: Math.max(words.implicitHeight, Theme.rowHeight) + Theme.unit * 4
    radius: Theme.blockRadius
    color: isInterrupted ? Theme.attentionGround : Theme.badGround

    ThemeIcon {
        id: sign

        x: Theme.unit * 3
        y: Math.round(words.y + (Theme.interfaceSize * 1.2 - height) / 2)
        name: failure.isInterrupted ? "interrupted" : "warning"
        color: failure.isInterrupted ? Theme.attention : Theme.bad
    }
    RowText {
        id: words

        row: failure.row
        anchors { left: sign.right; leftMargin: Theme.unit * 2; right: act.left; rightMargin: Theme.unit * 3; verticalCenter: parent.verticalCenter }
        text: failure.row.words
        font.pixelSize: Theme.interfaceSize
    }
    PushButton {
        id: act

        anchors { right: parent.right; rightMargin: Theme.unit * 2; verticalCenter: parent.verticalCenter }
        visible: failure.row.canAct
        width: visible ? implicitWidth : 0
        text: failure.isInterrupted ? qsTr("Continue") : qsTr("Try again")
        onClicked: failure.row.acted()
    }
}
