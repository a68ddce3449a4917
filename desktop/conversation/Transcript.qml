import QtQuick
import Ravant.Conversation
import Ravant.Controls
import Ravant.Program
import Ravant.Theme

/// The rows of a conversation, from the top to the bottom. It follows the end while the reader is there.
FocusScope {
    id: transcript

    required property TranscriptWindow rows
    readonly property bool isAtEnd: follows && rows.isAtEnd
    /// The row at which the walk by keys stands; -1 while the keyboard is elsewhere.
    readonly property int keyboardRow: list.activeFocus ? list.currentIndex : -1
    property bool follows: true
    /// From other rows to the place in them that is gone to: no row that stands elsewhere is made.
    property bool isReplacing: false
    property string hoveredLink
    property RowText textSelection
    readonly property bool hasTextSelection: (textSelection?.selectedText ?? "") !== ""
    /// Of what was found in the conversation, from 0 to 1: marked beside it.
    property alias findPlaces: bar.findPlaces
    readonly property ProseStyle style: ProseStyle {}

    onFollowsChanged: Qt.callLater(list.look)

    signal follow(string link)
    signal hover(string link)
    signal tryAgain(string item)
    signal goOn

    function copy() { hasTextSelection ? copyText() : rows.copy(list.currentIndex) }
    function copyText() { textSelection.isAllSelected ? rows.copyBlock(textSelection.row.index) : textSelection.copy() }
    /// Whether there was something selected.
    function clearSelection(): bool {
        const had = hasTextSelection || rows.hasSelection
        selectIn(null)
        rows.clearSelection()
        return had
    }
    function currentRow(): int { return list.currentIndex >= 0 ? list.currentIndex : list.indexAt(list.width / 2, list.contentY + list.height / 2) }
    function toEnd() { follows = true; rows.jumpToEnd() }
    function openMenu(row: int) { menu.take(row); menu.popup() }
    /// At the row, or where its item goes on in what is visible.
    function openMenuAt(row: int) {
        menu.take(row)
        menu.popup(list, Theme.unit * 8, Math.max(Theme.unit * 2, Math.min(height - Theme.unit * 10, (list.itemAtIndex(row)?.y ?? 0) - list.contentY + Theme.unit * 6)))
        menu.currentIndex = 0
    }
    function scrollSideways(direction: int) {
        for (let row = list.currentIndex; row >= 0 && row < list.count && rows.stopOf(row) === list.currentIndex; ++row) {
            (list.itemAtIndex(row) as TranscriptRow)?.sidewaysRequested(direction)
        }
    }

    /// One text has a selection at a time.
    function selectIn(edit: RowText) {
        if (textSelection !== edit) textSelection?.deselect()
        textSelection = edit
    }
    /// What was at a place stays there.
    function fold(row: int, isOpen: bool) {
        const followed = follows
        follows = false
        list.contentY = Math.round(list.contentY)
        follows = !rows.setOpen(row, isOpen) && followed
    }
    function showMore(row: int) {
        follows = false
        rows.showMore(row)
    }
    function enter(row: int) {
        if (isReplacing && row < 0) list.positionViewAtEnd()
        else if (isReplacing) list.positionViewAtIndex(row, ListView.Beginning)
        settle()
    }
    function settle() { isReplacing = false }
    /// To where the reader left: so much of the row is above the upper edge.
    function comeBack(row: int, above: real) {
        follows = false
        enter(row)
        list.currentIndex = rows.stopOf(row)
        list.positionViewAtIndex(row, ListView.Beginning)
        list.contentY = Math.max(list.originY, Math.min(list.originY + list.contentHeight - list.height, list.contentY + above))
        Qt.callLater(lookForEnd)
        Qt.callLater(list.look)
    }
    function lookForEnd() { follows = list.atYEnd && rows.isAtEnd }
    function point(row: int) {
        list.currentIndex = rows.stopOf(row)
        clearSelection()
        list.forceActiveFocus()
    }
    /// To the next stop; with Shift what lies between is selected.
    function step(direction: int, modifiers: int) {
        const from = list.currentIndex
        list.currentIndex = rows.nextStop(from, direction)
        list.positionViewAtIndex(list.currentIndex, ListView.Contain)
        modifiers & Qt.ShiftModifier ? rows.select(from, list.currentIndex) : rows.clearSelection()
        lookForEnd()
    }
    function page(direction: int) {
        const lowest = list.originY + list.contentHeight - list.height
        list.contentY = Math.max(list.originY, Math.min(lowest, list.contentY + direction * (list.height - Theme.unit * 12)))
        lookForEnd()
    }
    function press(event: KeyEvent) {
        event.accepted = true
        if (event.matches(StandardKey.Copy)) copy()
        else if (event.key === Qt.Key_PageUp) page(-1)
        else if (event.key === Qt.Key_PageDown || event.key === Qt.Key_Space) page(1)
        else if (event.key === Qt.Key_Home) { follows = false; rows.jumpToPlace(0) }
        else if (event.key === Qt.Key_End) toEnd()
        else if (event.key === Qt.Key_F10 && event.modifiers & Qt.ShiftModifier) openMenuAt(list.currentIndex)
        else event.accepted = false
    }
    function arrive(row: int) {
        enter(row)
        follows = row < 0
        list.currentIndex = row < 0 ? -1 : rows.stopOf(row)
        if (row < 0) list.positionViewAtEnd()
        else list.positionViewAtIndex(row, ListView.Center)
        if (list.activeFocus && row < 0) list.currentIndex = rows.stopOf(list.count - 1)
        Qt.callLater(list.look)
    }

    ListView {
        id: list

        function keepEnd() { transcript.follows ? positionViewAtEnd() : transcript.lookForEnd() }
        function look() { transcript.rows.showing(indexAt(width / 2, contentY), indexAt(width / 2, contentY + height - 1), (contentY - originY) / Math.max(1, height), (originY + contentHeight - contentY - height) / Math.max(1, height)); keepPlace(indexAt(width / 2, contentY)) }
        function keepPlace(row: int) { if (row >= 0) transcript.rows.keepPlace(transcript.follows ? -1 : row, contentY - (itemAtIndex(row)?.y ?? contentY)) }

        width: parent.width
        height: transcript.isReplacing ? 0 : parent.height
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
        onContentHeightChanged: Qt.callLater(keepEnd)
        onHeightChanged: Qt.callLater(keepEnd)
        onContentYChanged: { if (moving) transcript.lookForEnd(); Qt.callLater(look) }
        onMovementEnded: transcript.lookForEnd()
        onActiveFocusChanged: if (activeFocus && currentIndex < 0) currentIndex = transcript.rows.stopOf(count - 1)
        Keys.onUpPressed: event => transcript.step(-1, event.modifiers)
        Keys.onDownPressed: event => transcript.step(1, event.modifiers)
        Keys.onLeftPressed: event => event.modifiers & Qt.ShiftModifier ? transcript.scrollSideways(-1) : transcript.fold(currentIndex, false)
        Keys.onRightPressed: event => event.modifiers & Qt.ShiftModifier ? transcript.scrollSideways(1) : transcript.fold(currentIndex, true)
        Keys.onReturnPressed: (currentItem as TranscriptRow)?.press()
        Keys.onEnterPressed: (currentItem as TranscriptRow)?.press()
        Keys.onMenuPressed: transcript.openMenuAt(currentIndex)
        Keys.onPressed: event => transcript.press(event)
        delegate: TranscriptRow {
            width: ListView.view.width
            rows: transcript.rows
            style: transcript.style
            keyboardRow: transcript.keyboardRow
            onClicked: transcript.point(index)
            onToggled: transcript.fold(index, !isOpen)
            onMoreRequested: transcript.showMore(index)
            onActed: kind === TranscriptWindow.Failure ? transcript.tryAgain(item) : transcript.goOn()
            onFollowed: link => transcript.follow(link)
            onHovered: link => transcript.hover(link)
            onTextSelected: edit => transcript.selectIn(edit as RowText)
            onPlaceFound: (edit, position) => places.take(edit, position)
            onMenuRequested: transcript.openMenu(index)
        }
    }
    Connections {
        target: transcript.rows
        function onModelAboutToBeReset() { transcript.isReplacing = true }
        function onModelReset() { Qt.callLater(transcript.settle) }
        function onJumped(row) { transcript.arrive(row) }
        function onReturned(row, above) { transcript.comeBack(row, above) }
        function onPlaced(row) { transcript.follows = false; list.currentIndex = transcript.rows.stopOf(row); places.show(row) }
    }
    ReadingOrder { list: list }
    PlaceView { id: places; list: list; margin: Theme.unit * 6 }
    SelectionCopy { area: transcript; isSelected: transcript.hasTextSelection; onCopied: transcript.copy() }
    PlaceBar { id: bar; anchors { top: parent.top; bottom: parent.bottom; right: parent.right } rows: transcript.rows; onMoved: transcript.follows = false }
    TroubleBar { anchors { left: parent.left; right: parent.right; bottom: parent.bottom } words: transcript.rows.trouble; onTryAgain: transcript.rows.tryAgain() }
    PushButton {
        anchors { top: parent.top; topMargin: Theme.unit * 3; horizontalCenter: parent.horizontalCenter }
        visible: transcript.rows.unreadAbove > 0
        iconName: "arrow-up"
        text: qsTr("%n new above", "", transcript.rows.unreadAbove)
        onClicked: { transcript.follows = false; transcript.rows.jumpToUnread() }
    }
    PushButton {
        anchors { bottom: parent.bottom; bottomMargin: Theme.unit * 3; horizontalCenter: parent.horizontalCenter }
        visible: endOffer.isOffered && transcript.rows.newItems > 0
        iconName: "arrow-down"
        text: qsTr("%n new", "", transcript.rows.newItems)
        onClicked: transcript.toEnd()
    }
    Rectangle {
        id: endOffer

        readonly property bool isOffered: !transcript.isAtEnd && transcript.rows.isOpened && list.count > 0

        anchors { bottom: parent.bottom; bottomMargin: Theme.unit * 3; horizontalCenter: parent.horizontalCenter }
        visible: isOffered && transcript.rows.newItems === 0
        width: Theme.rowHeight
        height: width
        radius: width / 2
        color: Theme.raised
        border { width: 1; color: Theme.strongLine }

        IconButton { anchors.centerIn: parent; iconName: "arrow-down"; name: qsTr("To the end"); onClicked: transcript.toEnd() }
    }
    Rectangle {
        anchors { left: parent.left; bottom: parent.bottom; margins: Theme.unit * 2 }
        visible: target.text !== ""
        width: target.width + Theme.unit * 4
        height: Theme.rowHeight
        radius: 6
        color: Theme.raised
        border { width: 1; color: Theme.line }
        PlainLabel { id: target; anchors.centerIn: parent; width: Math.min(implicitWidth, transcript.width - Theme.unit * 12); text: transcript.hoveredLink; font.pixelSize: Theme.secondarySize }
    }
    TranscriptMenu { id: menu; rows: transcript.rows; hasSelection: transcript.hasTextSelection; onCopyRequested: transcript.copy(); onFollowed: link => transcript.follow(link) }
    CommandHandler { command: "copyMessage"; enabled: transcript.visible; onTriggered: transcript.rows.copy(transcript.currentRow()) }
    CommandHandler { command: "previousPrompt"; enabled: transcript.visible; onTriggered: transcript.rows.jumpToPrompt(transcript.currentRow(), -1) }
    CommandHandler { command: "nextPrompt"; enabled: transcript.visible; onTriggered: transcript.rows.jumpToPrompt(transcript.currentRow(), 1) }
}
