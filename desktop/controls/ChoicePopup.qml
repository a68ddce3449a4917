import QtQuick
import QtQuick.Templates as T
import Ravant.Controls
import Ravant.Theme

/// A list to choose from by the arrow keys, below a field that narrows it. Opens above what it belongs to.
T.Dialog {
    id: popup

    /// Its rows have a name, a detail, a section and whether they are chosen.
    required property QtObject model
    /// Of the field.
    required property string name
    /// Where the list begins.
    property int initialRow
    readonly property alias filter: search.text
    /// What had the keyboard, and gets it back.
    property Item before

    signal chosen(int row)

    title: name
    y: -height - Theme.unit
    margins: Theme.unit
    width: Math.min(Theme.unit * 80, parent.Window.width - Theme.unit * 4)
    height: Math.min(Theme.unit * 90, parent.Window.height - Theme.unit * 4, list.contentHeight + search.height + Theme.unit * 5)
    padding: Theme.unit
    focus: true
    closePolicy: T.Popup.CloseOnEscape | T.Popup.CloseOnPressOutside
    onAboutToShow: { before = parent.Window.activeFocusItem; search.clear() }
    onOpened: { list.currentIndex = initialRow; list.positionViewAtIndex(initialRow, ListView.Contain) }
    onClosed: before?.forceActiveFocus()
    onChosen: close()
    enter: FadeIn {}
    background: Rectangle { color: Theme.raised; radius: Theme.floatingRadius; border { width: 1; color: Theme.line } }

    contentItem: Item {
        TextLine {
            id: search

            anchors { top: parent.top; left: parent.left; right: parent.right; margins: Theme.unit * 2 }
            name: popup.name
            placeholderText: popup.name
            focus: true
            onTextChanged: list.currentIndex = 0
            Keys.onUpPressed: list.decrementCurrentIndex()
            Keys.onDownPressed: list.incrementCurrentIndex()
            onAccepted: if (list.currentIndex >= 0) popup.chosen(list.currentIndex)
        }
        VerticalScroll {
            z: 1
            anchors { top: list.top; topMargin: Theme.unit * 2; bottom: list.bottom; right: list.right }
            floats: true
            orientation: Qt.Vertical
            interactive: false
            // The list's own ratio is of the height that it guessed before it had all rows.
            size: Math.min(1, list.height / Math.max(1, list.contentHeight))
            position: list.visibleArea.yPosition
        }
        ReadingOrder { list: list }
        ListView {
            id: list

            anchors { top: search.bottom; topMargin: currentSection === "" ? Theme.unit : 0; left: parent.left; right: parent.right; bottom: parent.bottom }
            clip: true
            cacheBuffer: 0
            boundsBehavior: Flickable.StopAtBounds
            model: popup.model
            highlightMoveDuration: 0
            PointerChoice { list: list; onPointed: row => { if (row >= 0) list.currentIndex = row } }
            Accessible.role: Accessible.List
            Accessible.name: popup.name
            section.property: "section"
            section.delegate: ListHead {}
            delegate: ListRow {
                id: row

                required property int index
                required property string detail
                required property bool isChosen

                width: ListView.view.width
                selected: ListView.isCurrentItem
                floats: true
                Accessible.description: isChosen ? qsTr("chosen") : detail
                onClicked: popup.chosen(index)

                PlainLabel {
                    id: words

                    anchors { left: parent.left; leftMargin: Theme.unit * 4; verticalCenter: parent.verticalCenter }
                    width: Math.min(implicitWidth, mark.x - x - Theme.unit * 2)
                    text: row.name
                }
                PlainLabel {
                    anchors { left: words.right; leftMargin: Theme.unit * 2; right: mark.left; rightMargin: Theme.unit; verticalCenter: parent.verticalCenter }
                    visible: width >= Math.min(implicitWidth, Theme.unit * 12)
                    text: row.detail
                    color: Theme.dim
                    elide: Text.ElideMiddle
                    font.pixelSize: Theme.secondarySize
                }
                ThemeIcon {
                    id: mark

                    anchors { right: parent.right; rightMargin: Theme.unit * 4; verticalCenter: parent.verticalCenter }
                    visible: row.isChosen
                    name: "check"
                    color: Theme.accent
                }
            }
        }
    }
}
