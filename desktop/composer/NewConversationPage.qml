import QtQuick
import Ravant.Composer
import Ravant.Controls
import Ravant.Theme

/// Above the composer of a new conversation: where it will work, and with whom it could.
FocusScope {
    id: page

    AgentReadiness { id: agents }
    Column {
        anchors { left: parts.left; right: parts.right; bottom: parts.top; bottomMargin: Theme.unit * 6 }
        spacing: Theme.unit

        PlainLabel {
            width: parent.width
            text: agents.projectName
            font { pixelSize: Theme.unit * 5; weight: Font.DemiBold }
            Accessible.ignored: false
            Accessible.role: Accessible.Heading
            Accessible.name: text
        }
        PlainLabel {
            width: parent.width
            elide: Text.ElideMiddle
            text: agents.projectPath
            color: Theme.dim
            font.pixelSize: Theme.secondarySize
            Accessible.ignored: false
            Accessible.role: Accessible.StaticText
            Accessible.name: text
        }
    }
    Column {
        id: parts

        anchors { horizontalCenter: parent.horizontalCenter; bottom: parent.bottom; bottomMargin: Theme.unit * 6 }
        width: Math.min(page.width - Theme.unit * 10, Theme.unit * 194)
        spacing: Theme.unit * 3

        Repeater {
            model: agents

            AgentTrouble { width: parts.width; readiness: agents }
        }
        PlainLabel {
            width: parent.width
            visible: text !== ""
            text: agents.agents
            color: Theme.dim
            Accessible.ignored: !visible
            Accessible.role: Accessible.StaticText
            Accessible.name: text
        }
        PlainLabel {
            width: parent.width
            wrapMode: Text.Wrap
            text: qsTr("Enter sends, Shift Enter begins a new line. Files can be dropped on the prompt.")
            color: Theme.faint
            font.pixelSize: Theme.secondarySize
            Accessible.ignored: false
            Accessible.role: Accessible.StaticText
            Accessible.name: text
        }
    }
}
