import QtQuick
import Ravant.Controls
import Ravant.Program
import Ravant.Theme

/// What the window says for a while, the latest at the bottom.
Column {
    id: list

    /// How wide a notice may be.
    required property real room

    spacing: Theme.unit * 2

    Repeater {
        model: Workbench.notices

        Rectangle {
            id: notice

            required property int noticeId
            required property string text
            required property bool isError
            required property bool canUndo

            width: Math.min(list.room, row.implicitWidth + Theme.unit * 7)
            height: Math.max(Theme.unit * 10, words.implicitHeight + Theme.unit * 4)
            radius: 12
            color: isError ? Theme.badGround : Theme.raised
            border { width: 1; color: Theme.line }
            Accessible.role: Accessible.AlertMessage
            Accessible.name: text

            Row {
                id: row

                anchors { left: parent.left; leftMargin: Theme.unit * 4; verticalCenter: parent.verticalCenter }
                spacing: Theme.unit * 3
                PlainLabel {
                    id: words

                    anchors.verticalCenter: parent.verticalCenter
                    width: Math.min(implicitWidth, Theme.unit * 100, list.room - Theme.unit * 40)
                    wrapMode: Text.Wrap
                    text: notice.text
                    color: notice.isError ? Theme.bad : Theme.text
                }
                PushButton {
                    visible: notice.canUndo
                    text: qsTr("Undo")
                    onClicked: Workbench.notices.undo(notice.noticeId)
                }
                IconButton {
                    iconName: "cross"
                    name: qsTr("Dismiss")
                    onClicked: Workbench.notices.dismiss(notice.noticeId)
                }
            }
        }
    }
}
