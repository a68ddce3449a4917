import QtQuick
import Ravant.Conversation
import Ravant.Controls
import Ravant.Program
import Ravant.Theme

/// The rows of a conversation, from the top to the bottom. It follows the end while the reader is there.
FocusScope {
    id: transcript

    required property TranscriptWindow rows
    readonly property bool isAtEnd: view.follows && rows.isAtEnd
    /// The row at which the walk by keys stands; -1 while the keyboard is elsewhere.
    readonly property int keyboardRow: list.activeFocus ? list.currentIndex : -1
    /// How much of it something lies over, from below; the ways to the end stand above that.
    property real covered: 0
    property string hoveredLink
    /// Of what was found in the conversation, from 0 to 1: marked beside it.
    property alias findPlaces: bar.findPlaces
    readonly property ProseStyle style: ProseStyle {}

    signal follow(string link)
    signal hover(string link)

    function copy() { selection.isNone ? rows.copy(list.currentIndex) : selection.copy() }
    function toEnd() { view.toEnd() }
    /// Whether there was something selected.
    function clearSelection(): bool {
        const had = !selection.isNone || rows.hasSelection
        selection.take(null)
        rows.clearSelection()
        return had
    }
    function openMenu(row: int) { menu.take(row); menu.popup() }
    /// At the row, for who works by keys; the keyboard goes to its first entry, which has to be there for it.
    function openMenuAt(row: int) {
        if (rows.itemOf(row) === "") return
        menu.take(row)
        menu.popup(list, Theme.unit * 8, view.menuPlace(row))
        menu.currentIndex = 0
    }

    TranscriptView { id: view; list: list; rows: transcript.rows }
    TextSelection { id: selection; onBlockCopied: row => transcript.rows.copyBlock(row) }
    ListView {
        id: list

        width: parent.width
        height: view.isReplacing ? 0 : parent.height
        focus: true
        activeFocusOnTab: true
        model: transcript.rows
        cacheBuffer: 600
        boundsBehavior: Flickable.StopAtBounds
        keyNavigationEnabled: false
        highlightFollowsCurrentItem: false
        currentIndex: -1
        footer: Item { width: 1; height: Theme.unit * 6 }
        Accessible.role: Accessible.List
        Accessible.name: qsTr("Transcript")
        onContentYChanged: transcript.hoveredLink = ""
        onActiveFocusChanged: view.takeKeyboard()
        Keys.onUpPressed: event => view.step(-1, event.modifiers & Qt.ShiftModifier)
        Keys.onDownPressed: event => view.step(1, event.modifiers & Qt.ShiftModifier)
        Keys.onLeftPressed: event => event.modifiers & Qt.ShiftModifier ? view.scrollSideways(-1) : view.fold(currentIndex, false)
        Keys.onRightPressed: event => event.modifiers & Qt.ShiftModifier ? view.scrollSideways(1) : view.fold(currentIndex, true)
        Keys.onReturnPressed: (currentItem as TranscriptRow)?.press()
        Keys.onEnterPressed: (currentItem as TranscriptRow)?.press()
        Keys.onMenuPressed: transcript.openMenuAt(currentIndex)
        Keys.onPressed: event => {
            event.accepted = true
            if (event.matches(StandardKey.Copy)) transcript.copy()
            else if (event.key === Qt.Key_F10 && event.modifiers & Qt.ShiftModifier) transcript.openMenuAt(currentIndex)
            else event.accepted = view.press(event.key)
        }
        delegate: TranscriptRow {
            width: ListView.view.width
            rows: transcript.rows
            style: transcript.style
            keyboardRow: transcript.keyboardRow
            onClicked: { transcript.clearSelection(); view.point(index) }
            onToggled: view.fold(index, !isOpen)
            onMoreRequested: view.showMore(index)
            onActed: transcript.rows.leadOn()
            onFollowed: link => transcript.follow(link)
            onHovered: link => transcript.hover(link)
            onTextSelected: edit => selection.take(edit as RowText)
            onPlaceFound: (edit, position) => places.take(edit, position)
            onMenuRequested: transcript.openMenu(index)
        }
    }
    Connections {
        target: transcript.rows
        function onPlaced(row) { view.leaveEnd(row); places.show(row) }
        function onModelReset() { transcript.hoveredLink = "" }
    }
    Connections {
        target: Theme
        function onSizesChanged() { resized.restart() }
    }
    // Rows of another size have to be laid out first.
    Timer { id: resized; interval: 100; onTriggered: transcript.rows.showPlaceAgain() }
    ReadingOrder { list: list }
    PlaceView { id: places; list: list; margin: Theme.unit * 6 }
    SelectionCopy { area: transcript; isSelected: !selection.isNone; onCopied: transcript.copy() }
    PlaceBar { id: bar; anchors { top: parent.top; bottom: parent.bottom; right: parent.right } rows: transcript.rows; onMoved: view.follows = false }
    TroubleBar {
        anchors { bottom: parent.bottom; bottomMargin: Theme.unit * 2; horizontalCenter: parent.horizontalCenter }
        width: Math.min(parent.width - Theme.unit * 10, Theme.unit * 194)
        words: transcript.rows.trouble
        onTryAgain: transcript.rows.tryAgain()
    }
    PushButton {
        anchors { top: parent.top; topMargin: Theme.unit * 3; horizontalCenter: parent.horizontalCenter }
        visible: transcript.rows.unreadAbove > 0
        iconName: "arrow-up"
        text: qsTr("%n new above", "", transcript.rows.unreadAbove)
        onClicked: { view.follows = false; transcript.rows.jumpToUnread() }
    }
    PushButton {
        anchors { bottom: parent.bottom; bottomMargin: transcript.covered + Theme.unit * 3; horizontalCenter: parent.horizontalCenter }
        visible: endOffer.isOffered && transcript.rows.newItems > 0
        iconName: "arrow-down"
        text: qsTr("%n new", "", transcript.rows.newItems)
        onClicked: view.toEnd()
    }
    Rectangle {
        id: endOffer

        readonly property bool isLastLineSeen: transcript.rows.isAtEnd && list.contentY + list.height >= list.originY + list.contentHeight - (list.footerItem?.height ?? 0) - Theme.unit * 2
        readonly property bool isOffered: !transcript.isAtEnd && !isLastLineSeen && transcript.rows.isOpened && list.count > 0

        anchors { bottom: parent.bottom; bottomMargin: transcript.covered + Theme.unit * 3; right: parent.right; rightMargin: Theme.unit * 4 }
        visible: isOffered && transcript.rows.newItems === 0
        width: Theme.rowHeight
        height: width
        radius: width / 2
        color: Theme.raised
        border { width: 1; color: Theme.strongLine }

        IconButton { anchors.centerIn: parent; iconName: "arrow-down"; name: qsTr("To the end"); onClicked: view.toEnd() }
    }
    Rectangle {
        anchors { left: parent.left; bottom: parent.bottom; margins: Theme.unit * 2 }
        visible: target.text !== ""
        width: target.width + Theme.unit * 4
        height: Theme.rowHeight
        radius: Theme.rowRadius
        color: Theme.raised
        border { width: 1; color: Theme.line }
        PlainLabel { id: target; anchors.centerIn: parent; width: Math.min(implicitWidth, transcript.width - Theme.unit * 12); text: transcript.hoveredLink; font.pixelSize: Theme.secondarySize }
    }
    TranscriptMenu { id: menu; rows: transcript.rows; hasSelection: !selection.isNone; onCopyRequested: transcript.copy(); onFollowed: link => transcript.follow(link) }
    CommandHandler { command: "copyMessage"; enabled: transcript.visible; onTriggered: transcript.rows.copy(view.currentRow()) }
    CommandHandler { command: "previousPrompt"; enabled: transcript.visible; onTriggered: transcript.rows.jumpToPrompt(view.currentRow(), -1) }
    CommandHandler { command: "nextPrompt"; enabled: transcript.visible; onTriggered: transcript.rows.jumpToPrompt(view.currentRow(), 1) }
    CommandHandler { command: "jumpToEnd"; enabled: transcript.visible; onTriggered: view.toEnd() }
}
