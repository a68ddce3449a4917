import QtQuick
import Ravant.Controls
import Ravant.Program
import Ravant.Sidebar
import Ravant.Theme

/// The conversations that were shown last: Ctrl Tab walks on, and letting Ctrl go opens.
FloatingPanel {
    id: popup

    function walk() { list.currentIndex = opened ? (list.currentIndex + 1) % Math.max(1, list.count) : Math.min(1, list.count - 1); open(); }
    function take() { close(); recent.open(list.currentIndex); }

    name: qsTr("Recent conversations")

    CommandHandler { id: command; command: "recentConversations"; onTriggered: popup.walk() }

    contentItem: ListView {
        id: list

        model: RecentConversations { id: recent; shown: popup.visible }
        implicitHeight: contentHeight
        focus: true
        highlightMoveDuration: 0
        Accessible.role: Accessible.List
        Accessible.name: popup.name
        Keys.onReturnPressed: popup.take()
        Keys.onEnterPressed: popup.take()
        Keys.onTabPressed: popup.walk()
        Keys.onReleased: event => { if (event.key === Qt.Key_Control) popup.take() }

        delegate: ConversationRow {
            width: list.width
            current: ListView.isCurrentItem
            selected: ListView.isCurrentItem
            onClicked: { list.currentIndex = index; popup.take() }
        }
    }
}
