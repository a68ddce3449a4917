import QtQuick
import Ravant.Controls
import Ravant.Theme

/// Lets the user choose a folder or files of this machine, by typing their path or by walking through the list.
TitledPanel {
    id: chooser

    property alias wanted: entries.wanted
    /// Where it begins; at home where it is empty.
    property url folder

    signal accepted(var files)

    /// Whether the key went to the folder above.
    function goesUp(): bool {
        const goes = field.text.endsWith("/") && field.cursorPosition === field.length && field.selectedText === ""
        if (goes) entries.goUp()
        return goes
    }

    width: Math.min(Theme.unit * 140, parent.width - Theme.unit * 8)
    height: Math.min(Theme.unit * 120, parent.height - upperEdge - Theme.unit * 4)
    onAboutToShow: entries.begin(folder)
    onVisibleChanged: if (visible) field.forceActiveFocus()

    FolderEntries {
        id: entries

        onChosen: files => { chooser.close(); chooser.accepted(files) }
    }
    Item {
        anchors.fill: parent

        PlainLabel {
            id: heading

            anchors { left: parent.left; right: parent.right; top: parent.top; leftMargin: Theme.unit * 4; rightMargin: Theme.unit * 4 }
            height: Theme.unit * 10
            mustFit: true
            text: chooser.title
            font.weight: Font.DemiBold
        }
        TextLine {
            id: field

            anchors { left: parent.left; right: up.left; top: heading.bottom; leftMargin: Theme.unit * 2; rightMargin: Theme.unit }
            name: qsTr("Path")
            text: entries.path
            Accessible.description: entries.currentName
            onTextEdited: entries.path = text
            Keys.onUpPressed: entries.step(-1)
            Keys.onDownPressed: entries.step(1)
            Keys.onReturnPressed: event => event.modifiers & Qt.ControlModifier ? entries.choose() : entries.take()
            Keys.onEnterPressed: event => event.modifiers & Qt.ControlModifier ? entries.choose() : entries.take()
            Keys.onPressed: event => { event.accepted = event.key === Qt.Key_Backspace && chooser.goesUp() }
        }
        IconButton {
            id: up

            anchors { right: parent.right; rightMargin: Theme.unit * 2; verticalCenter: field.verticalCenter }
            iconName: "arrow-up"
            name: qsTr("Folder above")
            onClicked: entries.goUp()
        }
        ListView {
            id: list

            anchors { left: parent.left; right: parent.right; top: field.bottom; bottom: buttons.top; topMargin: Theme.unit * 2; bottomMargin: Theme.unit * 2 }
            clip: true
            boundsBehavior: Flickable.StopAtBounds
            model: entries
            currentIndex: entries.current
            highlightMoveDuration: 0
            keyNavigationEnabled: false
            Accessible.role: Accessible.List
            Accessible.name: entries.wanted === FolderEntries.Folders ? qsTr("Folders") : qsTr("Files")
            delegate: ListRow {
                id: row

                required property int index
                required property string iconName
                required property bool isPicked

                width: ListView.view.width
                floats: true
                selected: row.index === entries.current
                Accessible.description: isPicked ? qsTr("chosen") : iconName === "folder" ? qsTr("folder") : ""
                onClicked: entries.takeRow(row.index)

                ThemeIcon {
                    id: icon

                    anchors { left: parent.left; leftMargin: Theme.unit * 4; verticalCenter: parent.verticalCenter }
                    name: row.iconName
                }
                PlainLabel {
                    anchors { left: icon.right; leftMargin: Theme.unit * 3; right: mark.left; rightMargin: Theme.unit; verticalCenter: parent.verticalCenter }
                    text: row.name
                }
                ThemeIcon {
                    id: mark

                    anchors { right: parent.right; rightMargin: Theme.unit * 4; verticalCenter: parent.verticalCenter }
                    visible: row.isPicked
                    name: "check"
                    color: Theme.accent
                }
            }
            PointerChoice { list: list; onPointed: row => { if (row >= 0) entries.current = row } }
        }
        VerticalScroll {
            anchors { top: list.top; topMargin: Theme.unit * 2; bottom: list.bottom; right: list.right }
            floats: true
            orientation: Qt.Vertical
            interactive: false
            size: list.visibleArea.heightRatio
            position: list.visibleArea.yPosition
        }
        PlainLabel {
            anchors { left: list.left; right: list.right; top: list.top; margins: Theme.unit * 4 }
            visible: text !== ""
            wrapMode: Text.Wrap
            text: entries.emptyWords
            color: Theme.dim
            Accessible.ignored: !visible
            Accessible.role: Accessible.StaticText
            Accessible.name: text
        }
        Row {
            id: buttons

            anchors { right: parent.right; bottom: parent.bottom; margins: Theme.unit * 2 }
            spacing: Theme.unit * 2
            PushButton { text: qsTr("Cancel"); onClicked: chooser.close() }
            PushButton {
                weight: PushButton.Primary
                enabled: entries.canChoose || entries.pickedCount > 0
                text: entries.pickedCount > 1 ? qsTr("Choose %1 files").arg(entries.pickedCount) : qsTr("Choose")
                onClicked: entries.pickedCount > 0 ? entries.choosePicked() : entries.wanted === FolderEntries.Folders ? entries.choose() : entries.take()
            }
        }
        PlainLabel {
            anchors { left: parent.left; leftMargin: Theme.unit * 4; right: buttons.left; rightMargin: Theme.unit * 2; verticalCenter: buttons.verticalCenter }
            opacity: truncated ? 0 : 1
            text: entries.wanted === FolderEntries.Folders ? qsTr("Enter opens a folder, Ctrl Enter chooses it.") : entries.wanted === FolderEntries.Files ? qsTr("Ctrl Enter chooses several.") : ""
            color: Theme.faint
            font.pixelSize: Theme.secondarySize
        }
    }
}
