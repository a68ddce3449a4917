import QtQuick
import Ravant.Composer
import Ravant.Controls
import Ravant.Theme

/// Above the composer of a new conversation: where it will work.
FocusScope {
    id: page

    clip: true

    NewConversationPlace { id: place }
    Column {
        anchors { horizontalCenter: parent.horizontalCenter; bottom: parent.bottom; bottomMargin: Theme.unit * 4 }
        width: Math.min(page.width - Theme.unit * 12, Theme.unit * 190)
        spacing: Theme.unit

        PlainLabel {
            width: parent.width
            text: place.projectName
            font { pixelSize: Theme.proseSize; weight: Font.DemiBold }
            Accessible.ignored: false
            Accessible.role: Accessible.Heading
            Accessible.name: text
        }
        PlainLabel {
            width: parent.width
            elide: Text.ElideMiddle
            text: place.projectPath
            color: Theme.dim
            font.pixelSize: Theme.secondarySize
            Accessible.ignored: false
            Accessible.role: Accessible.StaticText
            Accessible.name: text
        }
        PlainLabel {
            width: parent.width
            visible: page.height > Theme.unit * 40
            topPadding: Theme.unit * 3
            wrapMode: Text.Wrap
            text: qsTr("Enter sends, Shift Enter begins a new line. Files can be dropped anywhere on this window.")
            color: Theme.faint
            font.pixelSize: Theme.secondarySize
            Accessible.ignored: !visible
            Accessible.role: Accessible.StaticText
            Accessible.name: text
        }
    }
}
