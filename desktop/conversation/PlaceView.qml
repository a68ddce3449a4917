import QtQuick

/// Brings the place that a transcript is to show into view, wherever in a long row it is.
QtObject {
    id: view

    required property ListView list
    required property int margin
    /// The text in which the place is; null for a row as a whole.
    property TextEdit text
    property int position: -1
    property int row: -1

    function take(edit: TextEdit, at: int) {
        if (at < 0 && text !== edit) return
        text = at < 0 ? null : edit
        position = at
        Qt.callLater(reveal)
    }
    function show(shown: int) {
        row = shown
        if (!list.itemAtIndex(row)) list.positionViewAtIndex(row, ListView.Center)
        Qt.callLater(reveal)
    }
    function reveal() {
        if (row < 0) return
        if (text) revealText(text.mapToItem(list.contentItem, text.positionToRectangle(position)))
        else list.positionViewAtIndex(row, ListView.Contain)
        row = -1
    }
    function revealText(at: rect) {
        const isVisible = at.y >= list.contentY + margin && at.y + at.height <= list.contentY + list.height - margin
        const lowest = list.originY + list.contentHeight - list.height
        if (!isVisible) list.contentY = Math.max(list.originY, Math.min(lowest, at.y - list.height / 3))
    }
}
