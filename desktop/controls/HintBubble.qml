import QtQuick
import QtQuick.Controls.Basic as Basic
import Ravant.Controls
import Ravant.Theme

/// Words that float beside what they tell of.
Basic.ToolTip {
    id: bubble

    property string keys

    delay: 600
    timeout: 5000
    margins: Theme.unit
    padding: Theme.unit * 2
    contentItem: PlainLabel {
        font.pixelSize: Theme.secondarySize
        text: bubble.keys === "" ? bubble.text : bubble.text + "   " + bubble.keys
    }
    background: Rectangle { color: Theme.raised; radius: Theme.floatingRadius; border { width: 1; color: Theme.line } }
}
