import QtQuick
import Ravant.Controls
import Ravant.Program
import Ravant.Theme

/// What the window says for a while, the latest at the bottom. While the keyboard or the pointer is at it, all of it stays.
FocusScope {
    id: list

    /// How wide a notice may be.
    required property real room

    visible: notices.count > 0
    implicitWidth: column.implicitWidth
    implicitHeight: column.implicitHeight
    Accessible.role: Accessible.Grouping
    Accessible.name: qsTr("Notices")

    Binding { target: Workbench.notices; property: "held"; value: list.activeFocus || pointer.hovered }
    HoverHandler { id: pointer; enabled: list.visible }
    Column {
        id: column

        spacing: Theme.unit * 2

        Repeater {
            id: notices

            model: Workbench.notices

            Rectangle {
                id: notice

                required property int noticeId
                required property string text
                required property bool isError
                required property bool canUndo
                readonly property real besideWords: Theme.unit * 5 + (sign.visible ? sign.width + row.spacing : 0) + (undo.visible ? undo.width + row.spacing : 0) + dismiss.width + row.spacing

                anchors.horizontalCenter: parent?.horizontalCenter
                width: Math.min(list.room, words.implicitWidth + besideWords, Theme.unit * 150)
                height: Math.max(Theme.unit * 10, words.implicitHeight + Theme.unit * 4)
                radius: Theme.floatingRadius
                color: isError ? Theme.badGround : Theme.raised
                border { width: 1; color: Theme.line }
                Accessible.role: Accessible.AlertMessage
                Accessible.name: text
                Keys.onEscapePressed: Workbench.notices.dismiss(noticeId)

                Row {
                    id: row

                    anchors { left: parent.left; leftMargin: Theme.unit * 4; verticalCenter: parent.verticalCenter }
                    spacing: Theme.unit * 3
                    ThemeIcon { id: sign; anchors.verticalCenter: parent.verticalCenter; visible: notice.isError; name: "warning"; color: Theme.bad }
                    PlainLabel {
                        id: words

                        anchors.verticalCenter: parent.verticalCenter
                        width: Math.min(implicitWidth, notice.width - notice.besideWords)
                        wrapMode: Text.Wrap
                        elide: Text.ElideNone
                        text: notice.text
                    }
                    PushButton {
                        id: undo

                        anchors.verticalCenter: parent.verticalCenter
                        visible: notice.canUndo
                        text: qsTr("Undo")
                        onClicked: Workbench.notices.undo(notice.noticeId)
                    }
                    IconButton {
                        id: dismiss

                        anchors.verticalCenter: parent.verticalCenter
                        iconName: "cross"
                        name: qsTr("Dismiss: %1").arg(notice.text)
                        hint: qsTr("Dismiss")
                        onClicked: Workbench.notices.dismiss(notice.noticeId)
                    }
                }
            }
        }
    }
}
