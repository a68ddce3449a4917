import QtQuick
import Ravant.Theme

/// Three dots of which one is stronger, and another one half a second later, while it can be seen.
Row {
    id: mark

    property int step: 0

    spacing: 2
    Accessible.ignored: true

    Timer {
        interval: 500
        running: mark.visible && mark.Window.visibility !== Window.Hidden && mark.Window.visibility !== Window.Minimized && Theme.motion > 0
        repeat: true
        onTriggered: mark.step = (mark.step + 1) % 3
    }
    Repeater {
        model: 3
        Rectangle {
            required property int index

            width: Theme.unit
            height: width
            radius: width / 2
            color: Theme.accent
            opacity: index === mark.step ? 1 : 0.55
        }
    }
}
