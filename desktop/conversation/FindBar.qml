import QtQuick
import Ravant.Conversation
import Ravant.Controls
import Ravant.Program
import Ravant.Theme

/// The search for words in the conversation.
FocusScope {
    id: bar

    required property TranscriptFind search
    /// The transcript's column.
    readonly property int inset: Math.max(Theme.unit * 6, (width - Theme.unit * 190) / 2)
    property Item before
    readonly property bool canStep: search.text !== "" && !search.isFruitless

    /// It had the keyboard, and `from` before it.
    signal done(Item from)

    function open() { if (!visible) before = Window.activeFocusItem; visible = true; field.forceActiveFocus(); field.selectAll(); search.text = field.text }
    function close() { const leaves = activeFocus; visible = false; search.end(); if (leaves) done(before) }
    function step(modifiers: int) { modifiers & Qt.ShiftModifier ? search.previous() : search.next() }

    visible: false
    implicitHeight: Theme.unit * 10
    Keys.onEscapePressed: close()

    Rectangle { anchors.fill: parent; color: Theme.window }
    TextLine {
        id: field

        anchors { left: parent.left; leftMargin: bar.inset; verticalCenter: parent.verticalCenter }
        width: Math.min(Theme.unit * 64, (bar.width - bar.inset * 2) * 0.45)
        name: qsTr("Find in this conversation")
        placeholderText: name
        onTextEdited: bar.search.text = text
        Keys.onReturnPressed: event => bar.step(event.modifiers)
        Keys.onEnterPressed: event => bar.step(event.modifiers)
    }
    PlainLabel {
        anchors { left: field.right; leftMargin: Theme.unit * 3; right: everywhere.visible ? everywhere.left : buttons.left; rightMargin: Theme.unit * 2; verticalCenter: parent.verticalCenter }
        mustFit: true
        text: bar.search.status
        color: Theme.dim
        font.pixelSize: Theme.secondarySize
        Accessible.ignored: text === ""
        Accessible.role: Accessible.StaticText
        Accessible.name: text
    }
    PushButton {
        id: everywhere

        anchors { right: buttons.left; rightMargin: Theme.unit * 2; verticalCenter: parent.verticalCenter }
        visible: bar.search.isFruitless
        text: qsTr("Search everywhere")
        onClicked: Workbench.searchFor(bar.search.text)
    }
    Row {
        id: buttons

        anchors { right: parent.right; rightMargin: Theme.unit * 3; verticalCenter: parent.verticalCenter }
        IconButton { iconName: "chevron-up"; name: qsTr("Previous"); enabled: bar.canStep; keys: Workbench.keys("findPrevious", Workbench.keysRevision); onClicked: bar.search.previous() }
        IconButton { iconName: "chevron-down"; name: qsTr("Next"); enabled: bar.canStep; keys: Workbench.keys("findNext", Workbench.keysRevision); onClicked: bar.search.next() }
        IconButton { iconName: "cross"; name: qsTr("Close"); keys: "Esc"; onClicked: bar.close() }
    }
    Divider { anchors { bottom: parent.bottom; left: parent.left; right: parent.right } }
}
