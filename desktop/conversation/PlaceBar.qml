import QtQuick
import Ravant.Conversation
import Ravant.Theme

/// Where in the whole conversation the reader is, beside what is marked in it; to drag it is to jump. For the mouse: the
/// keys of the transcript go to every place, too.
Item {
    id: bar

    required property TranscriptWindow rows
    readonly property real length: Math.max(Theme.unit * 8, height * rows.extent)

    property alias findPlaces: marks.findPlaces

    signal moved

    width: Theme.unit * 3
    // Rows do not end at whole pixels.
    visible: rows.extent < 0.999
    Accessible.ignored: true

    Rectangle {
        anchors.horizontalCenter: parent.horizontalCenter
        y: area.pressed ? Math.max(0, Math.min(bar.height - height, area.mouseY - height / 2)) : Math.min(1, bar.rows.place / Math.max(0.0001, 1 - bar.rows.extent)) * (bar.height - height)
        width: Theme.unit * 2
        height: bar.length
        radius: width / 2
        color: area.pressed || area.containsMouse ? Theme.strongLine : Theme.line
    }
    PlaceMarks {
        id: marks

        anchors { top: parent.top; bottom: parent.bottom; horizontalCenter: parent.horizontalCenter }
        width: Theme.unit * 2
        conversation: bar.visible ? bar.rows.conversation : ""
    }
    MouseArea {
        id: area

        function jump(y: real) { bar.moved(); bar.rows.jumpToPlace(Math.max(0, Math.min(1, y / bar.height))) }

        anchors.fill: parent
        hoverEnabled: true
        preventStealing: true
        onPressed: mouse => jump(mouse.y)
        onPositionChanged: mouse => { if (pressed) jump(mouse.y) }
    }
}
