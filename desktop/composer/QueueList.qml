import QtQuick
import Ravant.Composer
import Ravant.Controls
import Ravant.Theme

/// The prompts that wait: walked with the arrow keys and moved by them with Shift; Enter shows what can be done with the
/// current one.
ListView {
    id: list

    required property QueuedPrompts queue
    required property bool isHeld

    /// By Esc.
    signal dismissed

    /// Along with the current prompt.
    function move(by: int) { queue.move(currentIndex, by); currentIndex = Math.max(0, Math.min(count - 1, currentIndex + by)) }

    visible: count > 0
    /// As many rows as leave room for what is above.
    readonly property int mostRows: Math.max(1, Math.min(5, Math.floor((list.Window.height - Theme.unit * 80) / Theme.rowHeight)))
    readonly property bool scrolls: count > mostRows

    implicitHeight: Math.min(contentHeight, Theme.rowHeight * mostRows)
    clip: true
    boundsBehavior: Flickable.StopAtBounds
    keyNavigationEnabled: true
    activeFocusOnTab: count > 0
    model: queue
    Accessible.role: Accessible.List
    Accessible.name: qsTr("Queued prompts")
    Keys.onUpPressed: event => { event.accepted = event.modifiers & Qt.ShiftModifier; if (event.accepted) move(-1) }
    Keys.onDownPressed: event => { event.accepted = event.modifiers & Qt.ShiftModifier; if (event.accepted) move(1) }
    Keys.onReturnPressed: (currentItem as QueueRow)?.openMenuByKeys()
    Keys.onEnterPressed: (currentItem as QueueRow)?.openMenuByKeys()
    Keys.onMenuPressed: (currentItem as QueueRow)?.openMenuByKeys()
    Keys.onPressed: event => {
        event.accepted = event.key === Qt.Key_F10 && event.modifiers & Qt.ShiftModifier
        if (event.accepted) (currentItem as QueueRow)?.openMenuByKeys()
    }
    Keys.onDeletePressed: queue.remove(currentIndex)
    Keys.onEscapePressed: dismissed()
    onCountChanged: if (count === 0 && activeFocus) dismissed()

    ReadingOrder { list: list }

    delegate: QueueRow {
        width: ListView.view.width
        current: ListView.isCurrentItem
        queue: list.queue
        isHeld: list.isHeld
        isBesideBar: list.scrolls
    }

    VerticalScroll {
        parent: list
        anchors { top: list.top; bottom: list.bottom; right: list.right }
        orientation: Qt.Vertical
        interactive: false
        size: list.visibleArea.heightRatio
        position: list.visibleArea.yPosition
    }
}
