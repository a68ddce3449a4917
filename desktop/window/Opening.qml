import QtQuick
import QtQuick.Window as QtWindow
import Ravant.Controls
import Ravant.Theme

/// Says that the store takes its time to be opened.
QtWindow.Window {
    title: "Ravant"
    width: Math.min(Theme.unit * 120, QtWindow.Screen.desktopAvailableWidth - Theme.unit * 8)
    height: Theme.unit * 40
    visible: true
    color: Theme.window

    PlainLabel {
        anchors.centerIn: parent
        text: qsTr("Opening…")
        color: Theme.dim
        Accessible.ignored: false
        Accessible.role: Accessible.StaticText
        Accessible.name: text
    }
}
