import QtQuick
import Ravant.Controls
import Ravant.Program
import Ravant.Theme

/// What the window says for a while, the latest at the bottom. While the keyboard or the pointer is at it, all of it stays.
FocusScope {
    id: list

    /// How wide a notice may be.
    required property real room
    readonly property int mostShown: 3
    readonly property bool isLookedAt: activeFocus || pointer.hovered

    visible: notices.count > 0
    implicitWidth: Math.min(room, Theme.unit * 130)
    implicitHeight: column.implicitHeight
    Accessible.role: Accessible.Grouping
    Accessible.name: qsTr("Notices")

    Binding { target: Workbench.notices; property: "held"; value: list.isLookedAt }
    HoverHandler { id: pointer; enabled: list.visible }
    Column {
        id: column

        spacing: Theme.unit * 2

        Repeater {
            id: notices

            model: Workbench.notices

            Rectangle {
                id: notice

                required property int index
                required property int noticeId
                required property string text
                required property bool isError
                required property string offer

                visible: index >= notices.count - list.mostShown
                width: list.width
                height: Math.max(Theme.unit * 10, words.implicitHeight + Theme.unit * 4)
                radius: Theme.floatingRadius
                color: isError ? Theme.badGround : Theme.raised
                border { width: 1; color: Theme.line }
                Accessible.role: Accessible.AlertMessage
                Accessible.name: text
                Keys.onEscapePressed: Workbench.notices.dismiss(noticeId)

                ThemeIcon {
                    id: sign

                    anchors { left: parent.left; leftMargin: Theme.unit * 4; verticalCenter: parent.verticalCenter }
                    visible: notice.isError
                    name: "warning"
                    color: Theme.bad
                }
                PlainLabel {
                    id: words

                    anchors { left: sign.visible ? sign.right : parent.left; leftMargin: Theme.unit * (sign.visible ? 3 : 4); right: acts.left; rightMargin: Theme.unit * 3; verticalCenter: parent.verticalCenter }
                    wrapMode: Text.Wrap
                    // All of it is shown to who is at it.
                    maximumLineCount: list.isLookedAt ? 100 : 3
                    elide: Text.ElideRight
                    text: notice.text
                }
                Row {
                    id: acts

                    anchors { right: parent.right; rightMargin: Theme.unit; verticalCenter: parent.verticalCenter }
                    spacing: Theme.unit * 2

                    PushButton {
                        anchors.verticalCenter: parent.verticalCenter
                        visible: notice.offer !== ""
                        text: notice.offer
                        onClicked: Workbench.notices.accept(notice.noticeId)
                    }
                    IconButton {
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
