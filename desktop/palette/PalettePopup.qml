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
    /// Of each row below a head; a view guesses it from those it has made.
    readonly property int entryHeight: searches ? Theme.unit * 12 : Theme.unit * 8
    /// A heading brings its own.
    readonly property int spaceAboveList: rows.sectionCount > 0 ? 0 : Theme.unit * 2
    readonly property bool canSearchInstead: !searches && rows.emptyWords !== "" && field.text !== ""
    readonly property PaletteRows rows: searches ? search : goTo

    title: searches ? qsTr("Search everything") : qsTr("Go to or run")
    width: Math.min(Theme.unit * 160, parent.width - Theme.unit * 8)
    height: Math.min(inside.implicitHeight + topPadding + bottomPadding, parent.height - upperEdge - Theme.unit * 4)
    onAboutToShow: { rows.open(); field.text = "" }
    onVisibleChanged: if (visible) field.forceActiveFocus()
    onClosed: rows.close()

    function begin(search: bool) { close(); rows.close(); searches = search; open() }
    function take() { if (canSearchInstead) searchInstead(); else rows.take() }
    function searchInstead() { rows.close(); searches = true; rows.open(); rows.query = field.text }

    Item {
        id: inside

        anchors.fill: parent
        implicitHeight: field.height + Theme.unit * 3 + popup.spaceAboveList + Math.max(empty.visible ? empty.implicitHeight + Theme.unit * 6 : 0, popup.rows.sectionCount * (Theme.rowHeight + Theme.unit * 2) + popup.rows.count * popup.entryHeight)

        TextLine {
            id: field

            anchors { left: parent.left; right: parent.right; top: parent.top; margins: Theme.unit * 2 }
            height: Theme.unit * 9
            name: popup.title
            placeholderText: name
            font.pixelSize: Theme.proseSize
            Accessible.description: popup.rows.currentName
            onTextEdited: popup.rows.query = text
            Keys.onUpPressed: popup.rows.step(-1)
            Keys.onDownPressed: popup.rows.step(1)
            Keys.onReturnPressed: popup.take()
            Keys.onEnterPressed: popup.take()
        }
        ListView {
            id: list

            anchors { left: parent.left; right: parent.right; top: field.bottom; bottom: parent.bottom; topMargin: popup.spaceAboveList; bottomMargin: Theme.unit }
            clip: true
            boundsBehavior: Flickable.StopAtBounds
            model: popup.rows
            currentIndex: popup.rows.current
            highlightFollowsCurrentItem: true
            highlightMoveDuration: 0
            keyNavigationEnabled: false
            Accessible.role: Accessible.List
            Accessible.name: qsTr("Results")
            PointerChoice { list: list; onPointed: row => { if (row >= 0) popup.rows.current = row } }
            section { property: "section"; delegate: ListHead {} }
            delegate: PaletteEntry {
                id: entry

                width: ListView.view.width
                height: popup.entryHeight
                stacked: popup.searches
                selected: entry.index === popup.rows.current
                onClicked: popup.rows.choose(entry.index)
            }
        }
        ReadingOrder { list: list }
        VerticalScroll {
            anchors { top: list.top; topMargin: Theme.unit * 2 - popup.spaceAboveList; bottom: list.bottom; right: list.right }
            floats: true
            orientation: Qt.Vertical
            interactive: false
            size: list.visibleArea.heightRatio
            position: list.visibleArea.yPosition
        }
        Column {
            id: empty

            anchors { left: list.left; right: list.right; top: list.top; topMargin: Theme.unit * 2; leftMargin: Theme.unit * 4; rightMargin: Theme.unit * 4 }
            spacing: Theme.unit * 3
            visible: popup.rows.emptyWords !== ""
            PlainLabel {
                width: empty.width
                wrapMode: Text.Wrap
                text: popup.rows.emptyWords
                color: Theme.dim
                Accessible.ignored: !empty.visible
                Accessible.role: Accessible.StaticText
                Accessible.name: text
            }
            PushButton {
                visible: popup.canSearchInstead
                iconName: "search"
                text: qsTr("Search everything")
                onClicked: popup.searchInstead()
            }
        }
    }

    CommandHandler { command: "showPalette"; onTriggered: popup.begin(false) }
    CommandHandler { command: "searchEverything"; onTriggered: popup.begin(true) }
    Connections {
        target: Workbench
        function onSearchRequested(words: string): void { popup.begin(true); field.text = words; popup.rows.query = words }
    }
    Connections { target: popup.rows; function onChosen(): void { popup.close() } }
    CommandHandler { command: "settings"; onTriggered: popup.goTo.openSettings() }
}
