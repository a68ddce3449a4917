import QtQuick
import Ravant.Composer
import Ravant.Controls
import Ravant.Theme

/// The prompts that wait: walked with the arrow keys, Enter shows what can be done with the current one.
ListView {
    id: list

    required property QueuedPrompts queue

    /// By Esc.
    signal dismissed

    visible: count > 0
    implicitHeight: Math.min(contentHeight, Theme.smallRowHeight * 5)
    clip: true
    boundsBehavior: Flickable.StopAtBounds
    keyNavigationEnabled: true
    activeFocusOnTab: count > 0
    model: queue
    Accessible.role: Accessible.List
    Accessible.name: qsTr("Queued prompts")
    Keys.onReturnPressed: (currentItem as QueueRow).openMenu()
    Keys.onEnterPressed: (currentItem as QueueRow).openMenu()
    Keys.onDeletePressed: queue.remove(currentIndex)
    Keys.onEscapePressed: dismissed()
    onCountChanged: if (count === 0 && activeFocus) dismissed()

    ReadingOrder { list: list }

    delegate: QueueRow {
        width: ListView.view.width
        current: ListView.isCurrentItem
        queue: list.queue
    }
}
