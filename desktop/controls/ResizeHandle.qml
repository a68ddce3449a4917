import QtQuick
import Ravant.Theme

/// The edge of a column, by which its width is changed: dragged, or with the arrow keys.
Item {
    id: handle

    required property string name
    /// Of the column, without zoom.
    required property int value
    property int minimumValue: 200
    property int maximumValue: 400
    readonly property int stepSize: 8

    signal moved(int value)

    /// Whether the key was one that goes to an edge.
    function toEdge(key: int): bool {
        if (key === Qt.Key_Home) moved(minimumValue)
        if (key === Qt.Key_End) moved(maximumValue)
        return key === Qt.Key_Home || key === Qt.Key_End
    }

    width: Theme.unit * 2
    activeFocusOnTab: true
    Keys.onLeftPressed: moved(value - stepSize)
    Keys.onRightPressed: moved(value + stepSize)
    Keys.onPressed: event => { event.accepted = toEdge(event.key) }
    Accessible.role: Accessible.Slider
    Accessible.name: name
    Accessible.focusable: true
    Accessible.focused: activeFocus
    Accessible.onIncreaseAction: moved(value + stepSize)
    Accessible.onDecreaseAction: moved(value - stepSize)

    Rectangle {
        anchors { top: parent.top; bottom: parent.bottom; horizontalCenter: parent.horizontalCenter }
        visible: handle.activeFocus || drag.active || pointer.hovered
        width: 2
        color: handle.activeFocus || drag.active ? Theme.accent : Theme.strongLine
    }
    HoverHandler { id: pointer; cursorShape: Qt.SplitHCursor }
    DragHandler {
        id: drag

        property int before

        target: null
        yAxis.enabled: false
        onActiveChanged: before = handle.value
        onTranslationChanged: if (active) handle.moved(before + translation.x * 4 / Theme.unit)
    }
}
