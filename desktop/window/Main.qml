import QtQuick
import QtQuick.Window as QtWindow
import Ravant.Attention
import Ravant.Palette
import Ravant.Program
import Ravant.Sidebar
import Ravant.Theme
import Ravant.Window

/// The window: sidebar, content column and detail, and what floats over them.
QtWindow.Window {
    id: root

    title: "Ravant"
    width: 1280
    height: 832
    minimumWidth: 720
    minimumHeight: 480
    visible: Workbench.end.state === OrderlyEnd.Open || Workbench.end.state === OrderlyEnd.Asking
    color: Theme.window
    onActiveChanged: Workbench.active = active
    onClosing: close => { close.accepted = false; Workbench.end.request() }

    ProjectFolders { id: folders }
    DropArea { anchors.fill: parent; keys: ["text/uri-list"]; onDropped: drop => folders.add(drop.urls) }
    Regions { anchors.fill: parent; focus: true }
    CommandKeys {}
    PalettePopup {}
    Attention {}
    NoticeList { anchors { bottom: parent.bottom; horizontalCenter: parent.horizontalCenter; bottomMargin: Theme.unit * 4 } }
    EndQuestion {}
    CommandHandler { command: "quit"; onTriggered: Workbench.end.request() }
    CommandHandler { command: "zoomIn"; onTriggered: Theme.zoom += 10 }
    CommandHandler { command: "zoomOut"; onTriggered: Theme.zoom -= 10 }
    CommandHandler { command: "resetZoom"; onTriggered: Theme.zoom = 100 }
}
