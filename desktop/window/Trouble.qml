import QtQuick
import QtQuick.Window as QtWindow
import Ravant.Controls
import Ravant.Theme
import Ravant.Window

/// Says why Ravant cannot start, and what can be done.
QtWindow.Window {
    id: root

    required property StartTrouble trouble

    title: "Ravant"
    width: Math.min(Theme.unit * 160, QtWindow.Screen.desktopAvailableWidth - Theme.unit * 8)
    height: Math.min(Math.max(Theme.unit * 70, words.implicitHeight + Theme.unit * 16), QtWindow.Screen.desktopAvailableHeight - Theme.unit * 8)
    minimumWidth: 480
    visible: true
    color: Theme.window
    onClosing: trouble.quit()

    Column {
        id: words

        anchors { left: parent.left; right: parent.right; verticalCenter: parent.verticalCenter; margins: Theme.unit * 8 }
        spacing: Theme.unit * 3
        Row {
            spacing: Theme.unit * 2
            ThemeIcon { anchors.verticalCenter: parent.verticalCenter; name: "warning"; color: Theme.bad }
            PlainLabel {
                text: qsTr("Ravant cannot start.")
                font { pixelSize: Theme.proseSize; weight: Font.DemiBold }
                Accessible.ignored: false
                Accessible.role: Accessible.StaticText
                Accessible.name: text
            }
        }
        PlainLabel {
            width: parent.width
            wrapMode: Text.Wrap
            maximumLineCount: 10
            text: root.trouble.reason
            Accessible.ignored: false
            Accessible.role: Accessible.AlertMessage
            Accessible.name: text
        }
        PlainLabel {
            width: parent.width
            visible: text !== ""
            wrapMode: Text.WrapAnywhere
            text: root.trouble.place
            color: Theme.dim
            font { family: Theme.codeFont; pixelSize: Theme.secondarySize }
            Accessible.ignored: false
            Accessible.role: Accessible.StaticText
            Accessible.name: text
        }
        PlainLabel {
            width: parent.width
            visible: text !== ""
            wrapMode: Text.Wrap
            text: root.trouble.backupWords
            color: Theme.dim
            Accessible.ignored: false
            Accessible.role: Accessible.StaticText
            Accessible.name: text
        }
        Flow {
            width: parent.width
            spacing: Theme.unit * 2
            topPadding: Theme.unit * 2
            PushButton {
                text: qsTr("Open from backup")
                weight: PushButton.Primary
                visible: root.trouble.hasBackup
                enabled: !root.trouble.isBusy
                onClicked: root.trouble.restore()
            }
            PushButton { text: qsTr("Try again"); focus: true; enabled: !root.trouble.isBusy; onClicked: root.trouble.tryAgain() }
            PushButton { text: qsTr("Show folder"); visible: root.trouble.hasFolder; onClicked: root.trouble.showFolder() }
            PushButton { text: qsTr("Quit"); enabled: !root.trouble.isBusy; onClicked: root.trouble.quit() }
        }
    }
}
