import QtQuick
import Ravant.Controls
import Ravant.Sidebar
import Ravant.Theme

/// What stands at the right of a row: how much is new, and the word of the state where that needs one, else an age or a
/// branch.
Row {
    id: aside

    required property color faint
    required property int shownState
    required property string newCount
    required property string words

    spacing: Theme.unit * 2

    Rectangle {
        anchors.verticalCenter: parent.verticalCenter
        visible: aside.newCount !== ""
        width: Math.max(height, count.implicitWidth + Theme.unit * 2)
        height: Theme.unit * 4
        radius: height / 2
        color: Theme.accentGround

        PlainLabel {
            id: count

            anchors.centerIn: parent
            text: aside.newCount
            color: Theme.accent
            font { pixelSize: Theme.secondarySize; weight: Font.Medium }
        }
    }
    PlainLabel {
        anchors.verticalCenter: parent.verticalCenter
        width: Math.min(implicitWidth, Theme.unit * 26)
        mustFit: true
        text: aside.words
        color: aside.shownState === SidebarRows.Failed ? Theme.bad : aside.shownState === SidebarRows.Interrupted ? Theme.attention : aside.faint
        font.pixelSize: Theme.secondarySize
    }
}
