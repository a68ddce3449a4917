import QtQuick
import Ravant.Controls
import Ravant.Theme

/// The day of the conversations below it.
Item {
    required property string section

    implicitHeight: Theme.rowHeight
    Accessible.ignored: true

    PlainLabel {
        anchors { left: parent.left; leftMargin: Theme.unit * 4; bottom: parent.bottom; bottomMargin: Theme.unit }
        mustFit: true
        text: parent.section
        color: Theme.dim
        font { pixelSize: Theme.secondarySize; weight: Font.DemiBold }
    }
}
