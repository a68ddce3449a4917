import QtQuick
import Ravant.Conversation
import Ravant.Theme

/// What is wider than a transcript, which scrolls sideways by itself, by keys and to what is found in it. Where it goes on
/// at the right, its edge fades.
Flickable {
    id: view

    required property RowItem row
    /// On which it stands.
    required property color ground
    /// Nothing lies over it while some of it is selected.
    required property RowText text
    /// How high the round corner below its end is.
    property int corner: 0
    readonly property bool goesOn: contentX + width < contentWidth - Theme.unit

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

    Loader {
        parent: view
        anchors { top: parent.top; right: parent.right }
        width: Theme.unit * 8
        active: view.goesOn && view.text.selectedText === ""
        sourceComponent: Rectangle {
            implicitHeight: Math.min(view.text.y + view.text.implicitHeight, view.height - view.corner)
            gradient: Gradient {
                orientation: Gradient.Horizontal
                GradientStop { position: 0; color: Qt.alpha(view.ground, 0) }
                GradientStop { position: 1; color: view.ground }
            }
        }
    }
    Connections {
        target: view.row
        function onSidewaysRequested(direction) { view.step(direction) }
        function onPlaceFound(edit, position) { if (position >= 0) view.show(edit.x + edit.positionToRectangle(position).x) }
    }
}
