import QtQuick
import Ravant.Conversation
import Ravant.Theme

/// What is wider than a transcript, which scrolls sideways by itself, by keys and to what is found in it.
Flickable {
    id: view

    required property RowItem row

    function show(x: real) {
        const most = Math.max(0, contentWidth - width)
        if (x < contentX || x > contentX + width - Theme.unit * 10) contentX = Math.max(0, Math.min(most, x - width / 3))
    }
    function step(direction: int) { contentX = Math.max(0, Math.min(Math.max(0, contentWidth - width), contentX + direction * width / 4)) }

    contentHeight: height
    clip: contentWidth > width
    interactive: contentWidth > width
    flickableDirection: Flickable.HorizontalFlick
    boundsBehavior: Flickable.StopAtBounds

    Connections {
        target: view.row
        function onSidewaysRequested(direction) { view.step(direction) }
        function onPlaceFound(edit, position) { if (position >= 0) view.show(edit.x + edit.positionToRectangle(position).x) }
    }
}
