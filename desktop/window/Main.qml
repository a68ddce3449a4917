import QtQuick
import Ravant.Attention
import Ravant.Palette
import Ravant.Program
import Ravant.Theme
import Ravant.Controls as Controls
import Ravant.Window

/// The window: sidebar, content column and detail, and what floats over them.
Controls.PopupWindow {
    id: root

    required property WindowPlacement placement

    title: shownTitle.text
    x: placement.opening.x
    y: placement.opening.y
    width: placement.opening.width
    height: placement.opening.height
    minimumWidth: 720
    minimumHeight: 480
    visible: !Workbench.awaited && (Workbench.end.state === OrderlyEnd.Open || Workbench.end.state === OrderlyEnd.Asking)
    color: Theme.window
    onActiveChanged: Workbench.active = active
    onClosing: close => { close.accepted = false; Workbench.end.request() }

    DropArea { anchors.fill: parent; keys: ["text/uri-list"]; onDropped: drop => Workbench.takeDropped(drop.urls) }
    Regions { anchors.fill: parent; focus: true; placement: root.placement }
    CommandKeys {}
    PalettePopup {}
    Attention {}
    EndQuestion {}
    WindowTitle { id: shownTitle }
    CommandHandler { command: "quit"; onTriggered: Workbench.end.request() }
    CommandHandler { command: "zoomIn"; onTriggered: Theme.stepZoom(1) }
    CommandHandler { command: "zoomOut"; onTriggered: Theme.stepZoom(-1) }
    CommandHandler { command: "resetZoom"; onTriggered: Theme.zoom = 100 }
}
