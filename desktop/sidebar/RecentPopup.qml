pragma ComponentBehavior: Bound

import QtQuick
import Ravant.Controls
import Ravant.Program
import Ravant.Sidebar

/// The conversations that were shown last: Ctrl Tab walks on, and letting Ctrl go opens.
TitledPanel {
    id: popup

    property Item focusBefore: null

    function walk() { list.currentIndex = opened ? (list.currentIndex + 1) % Math.max(1, list.count) : Math.min(1, list.count - 1); open(); }
    function take() { close(); recent.open(list.currentIndex); }

    title: qsTr("Recent conversations")

    CommandHandler { id: command; command: "recentConversations"; onTriggered: popup.walk() }

    height: list.contentHeight + topPadding + bottomPadding
    onAboutToShow: focusBefore = parent?.Window.activeFocusItem ?? null
    onClosed: focusBefore?.forceActiveFocus()

    contentItem: ListView {
        id: list

        model: RecentConversations { id: recent; shown: popup.visible }
        implicitHeight: contentHeight
        clip: true
        focus: true
        highlightMoveDuration: 0
        Accessible.role: Accessible.List
        Accessible.name: popup.title
        Keys.onReturnPressed: popup.take()
        Keys.onEnterPressed: popup.take()
        Keys.onTabPressed: popup.walk()
        Keys.onReleased: event => { if (event.key === Qt.Key_Control) popup.take() }

        ReadingOrder { list: list }

        delegate: ConversationRow {
            width: list.width
            current: ListView.isCurrentItem
            selected: ListView.isCurrentItem
            onClicked: { list.currentIndex = index; popup.take() }
        }
    }
}
