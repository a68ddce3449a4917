pragma ComponentBehavior: Bound

import QtQuick
import Ravant.Controls
import Ravant.Program
import Ravant.Sidebar
import Ravant.Theme

/// The conversations that were shown last: Ctrl Tab walks on, and letting Ctrl go opens.
TitledPanel {
    id: popup

    property Item focusBefore: null

    function walk() { list.currentIndex = opened ? (list.currentIndex + 1) % Math.max(1, list.count) : Math.min(1, list.count - 1); open(); }
    function take() { close(); recent.open(list.currentIndex); }

    title: qsTr("Recent conversations")

    CommandHandler { id: command; command: "recentConversations"; onTriggered: popup.walk() }

    height: Math.min(heading.height + list.contentHeight + Theme.unit + topPadding + bottomPadding, parent.height - upperEdge - Theme.unit * 4)
    onAboutToShow: focusBefore = parent?.Window.activeFocusItem ?? null
    onClosed: focusBefore?.forceActiveFocus()

    contentItem: FocusScope {
        focus: true

        PlainLabel {
            id: heading

            anchors { top: parent.top; left: parent.left; right: parent.right }
            height: Theme.rowHeight
            leftPadding: Theme.unit * 4
            verticalAlignment: Text.AlignVCenter
            mustFit: true
            text: popup.title
            color: Theme.dim
            font { pixelSize: Theme.secondarySize; weight: Font.DemiBold }
        }
        VerticalScroll {
            z: 1
            anchors { top: list.top; bottom: list.bottom; right: list.right }
            orientation: Qt.Vertical
            interactive: false
            size: list.visibleArea.heightRatio
            position: list.visibleArea.yPosition
        }
        ReadingOrder { list: list }
        ListView {
            id: list

            anchors { top: heading.bottom; bottom: parent.bottom; bottomMargin: Theme.unit; left: parent.left; right: parent.right }
            model: RecentConversations { id: recent; shown: popup.visible }
            clip: true
            focus: true
            highlightMoveDuration: 0
            Accessible.role: Accessible.List
            Accessible.name: popup.title
            Keys.onReturnPressed: popup.take()
            Keys.onEnterPressed: popup.take()
            Keys.onTabPressed: popup.walk()
            Keys.onReleased: event => { if (event.key === Qt.Key_Control) popup.take() }

            delegate: ConversationRow {
                width: list.width
                current: ListView.isCurrentItem
                selected: ListView.isCurrentItem
                floats: true
                onClicked: { list.currentIndex = index; popup.take() }
            }
        }
    }
}
