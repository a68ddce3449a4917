import QtQuick
import Ravant.Controls
import Ravant.Palette
import Ravant.Program
import Ravant.Theme

/// What there is to go to or to run, or everything that was ever said, found by what is typed.
TitledPanel {
    id: popup

    property bool searches: false
    readonly property PaletteModel goTo: PaletteModel {}
    readonly property SearchModel search: SearchModel {}
    readonly property PaletteRows rows: searches ? search : goTo

    title: searches ? qsTr("Search everything") : qsTr("Go to or run")
    x: Math.round((parent.width - width) / 2)
    y: Theme.unit * 20
    width: Math.min(Theme.unit * 160, parent.width - Theme.unit * 8)
    height: Math.min(inside.implicitHeight + topPadding + bottomPadding, parent.height - y - Theme.unit * 8)
    onAboutToShow: { rows.open(); field.text = "" }
    onOpened: field.forceActiveFocus()
    onClosed: rows.close()

    function choose(row: int) { close(); rows.choose(row) }

    Item {
        id: inside

        anchors.fill: parent
        implicitHeight: field.height + Theme.unit * 5 + Math.max(Theme.unit * 14, list.contentHeight)

        TextLine {
            id: field

            anchors { left: parent.left; right: parent.right; top: parent.top; margins: Theme.unit * 2 }
            height: Theme.unit * 9
            name: popup.title
            placeholderText: popup.searches ? qsTr("Search all conversations") : name
            font.pixelSize: Theme.proseSize
            Accessible.description: popup.rows.currentName
            onTextEdited: popup.rows.query = text
            Keys.onUpPressed: popup.rows.step(-1)
            Keys.onDownPressed: popup.rows.step(1)
            Keys.onReturnPressed: popup.choose(popup.rows.current)
            Keys.onEnterPressed: popup.choose(popup.rows.current)
        }
        ListView {
            id: list

            anchors { left: parent.left; right: parent.right; top: field.bottom; bottom: parent.bottom; topMargin: Theme.unit * 2; bottomMargin: Theme.unit }
            clip: true
            boundsBehavior: Flickable.StopAtBounds
            model: popup.rows
            currentIndex: popup.rows.current
            highlightFollowsCurrentItem: true
            highlightMoveDuration: 0
            keyNavigationEnabled: false
            Accessible.role: Accessible.List
            Accessible.name: qsTr("Results")
            section { property: "section"; delegate: PaletteSectionHead {} }
            delegate: PaletteEntry {
                id: entry

                width: ListView.view.width
                stacked: popup.searches
                selected: entry.index === popup.rows.current
                onClicked: popup.choose(entry.index)
            }
        }
        VerticalScroll {
            anchors { top: list.top; bottom: list.bottom; right: list.right }
            orientation: Qt.Vertical
            interactive: false
            size: list.visibleArea.heightRatio
            position: list.visibleArea.yPosition
        }
        PlainLabel {
            anchors { left: list.left; right: list.right; top: list.top; margins: Theme.unit * 4 }
            visible: popup.rows.emptyWords !== ""
            wrapMode: Text.Wrap
            text: popup.rows.emptyWords
            color: Theme.dim
            Accessible.ignored: !visible
            Accessible.role: Accessible.StaticText
            Accessible.name: text
        }
    }

    CommandHandler { command: "showPalette"; onTriggered: { popup.close(); popup.searches = false; popup.open() } }
    CommandHandler { command: "searchEverything"; onTriggered: { popup.close(); popup.searches = true; popup.open() } }
    Connections {
        target: Workbench
        function onSearchRequested(words: string): void { popup.close(); popup.searches = true; popup.open(); field.text = words; popup.rows.query = words }
    }
    CommandHandler { command: "settings"; onTriggered: popup.goTo.openSettings() }
}
