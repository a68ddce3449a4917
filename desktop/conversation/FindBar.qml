import QtQuick
import Ravant.Conversation
import Ravant.Controls
import Ravant.Theme

/// The search for words in the conversation.
Rectangle {
    id: bar

    required property TranscriptFind search

    signal closed

    function open() { visible = true; field.forceActiveFocus(); field.selectAll(); search.text = field.text }
    function close() { visible = false; search.text = ""; closed() }

    visible: false
    implicitHeight: Theme.unit * 10
    color: Theme.window
    Keys.onEscapePressed: close()

    TextLine {
        id: field

        anchors { left: parent.left; leftMargin: Theme.unit * 6; verticalCenter: parent.verticalCenter }
        width: Math.min(Theme.unit * 80, parent.width - Theme.unit * 60)
        name: qsTr("Find in this conversation")
        placeholderText: name
        onTextEdited: bar.search.text = text
        Keys.onReturnPressed: event => event.modifiers & Qt.ShiftModifier ? bar.search.next() : bar.search.previous()
    }
    PlainLabel {
        anchors { left: field.right; leftMargin: Theme.unit * 3; verticalCenter: parent.verticalCenter }
        text: bar.search.status
        color: Theme.dim
        font.pixelSize: Theme.secondarySize
        Accessible.ignored: false
        Accessible.role: Accessible.StaticText
        Accessible.name: text
    }
    Row {
        anchors { right: parent.right; rightMargin: Theme.unit * 3; verticalCenter: parent.verticalCenter }
        IconButton { iconName: "chevron-up"; name: qsTr("Previous"); onClicked: bar.search.previous() }
        IconButton { iconName: "chevron-down"; name: qsTr("Next"); onClicked: bar.search.next() }
        IconButton { iconName: "cross"; name: qsTr("Close"); onClicked: bar.close() }
    }
    Divider { anchors { bottom: parent.bottom; left: parent.left; right: parent.right } }
}
