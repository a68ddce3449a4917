pragma ComponentBehavior: Bound

import QtQuick
import Ravant.Controls
import Ravant.Program
import Ravant.Sidebar
import Ravant.Theme

/// Asks in which project a new conversation is to be.
TitledPanel {
    id: popup

    title: qsTr("New conversation in")
    height: Math.min(search.height + list.contentHeight + Theme.unit * 6 + topPadding + bottomPadding, parent.height - upperEdge - Theme.unit * 4)
    onOpened: search.forceActiveFocus()

    function take(row: int) { close(); choices.choose(row) }

    CommandHandler { command: "newConversationInOtherProject"; onTriggered: choices.ask() }
    Connections {
        target: choices
        function onAsked() { search.clear(); list.currentIndex = 0; popup.open() }
    }

    contentItem: Item {
        TextLine {
            id: search

            anchors { top: parent.top; left: parent.left; right: parent.right; margins: Theme.unit * 2 }
            height: Theme.unit * 9
            name: popup.title
            placeholderText: popup.title
            font.pixelSize: Theme.proseSize
            Accessible.description: (list.currentItem as ListRow)?.name ?? ""
            onTextEdited: { choices.query = text; list.currentIndex = 0 }
            Keys.onUpPressed: list.decrementCurrentIndex()
            Keys.onDownPressed: list.incrementCurrentIndex()
            onAccepted: popup.take(list.currentIndex)
        }
        ListView {
            id: list

            anchors { top: search.bottom; topMargin: Theme.unit * 2; bottom: parent.bottom; bottomMargin: Theme.unit; left: parent.left; right: parent.right }
            model: ProjectChoices { id: choices; shown: popup.visible }
            clip: true
            boundsBehavior: Flickable.StopAtBounds
            keyNavigationWraps: true
            highlightMoveDuration: 0
            Accessible.role: Accessible.List
            Accessible.name: qsTr("Projects to choose from")

            delegate: ListRow {
                id: row

                required property int index
                required property string title
                required property string spokenName
                required property string note

                width: list.width
                implicitHeight: Theme.unit * 8
                name: spokenName
                selected: ListView.isCurrentItem
                floats: true
                onClicked: popup.take(index)

                PlainLabel {
                    id: words

                    anchors { left: parent.left; leftMargin: Theme.unit * 4; verticalCenter: parent.verticalCenter }
                    width: Math.min(implicitWidth, parent.width - Theme.unit * 8)
                    horizontalAlignment: Text.AlignLeft
                    text: row.title
                }
                PlainLabel {
                    anchors { left: words.right; leftMargin: Theme.unit * 3; right: parent.right; rightMargin: Theme.unit * 4; baseline: words.baseline }
                    elide: Text.ElideMiddle
                    text: row.note
                    color: row.faint
                    font.pixelSize: Theme.secondarySize
                }
            }
        }
        VerticalScroll {
            anchors { top: list.top; bottom: list.bottom; right: list.right }
            orientation: Qt.Vertical
            interactive: false
            size: list.visibleArea.heightRatio
            position: list.visibleArea.yPosition
        }
    }
}
