import QtQuick
import Ravant.Conversation
import Ravant.Controls
import Ravant.Program
import Ravant.Theme

/// What stands above a transcript.
Item {
    id: bar

    required property ConversationHead head
    property bool isRenaming: false
    property Item before

    signal findRequested
    /// The title was written by Enter, or is not to be; `from` had the keyboard before.
    signal renamed(Item from)

    function rename() { before = Window.activeFocusItem; field.text = head.title; isRenaming = true; field.forceActiveFocus(); field.selectAll() }
    function keep() { if (isRenaming) { isRenaming = false; if (field.text !== head.title) head.rename(field.text) } }
    function drop() { isRenaming = false }

    implicitHeight: Theme.headHeight

    // The title that is being written is of the conversation that is left.
    Connections {
        target: bar.head
        function onConversationChanged() { bar.isRenaming = false }
    }
    Ways { id: ways; anchors { left: parent.left; leftMargin: Theme.unit * 2; verticalCenter: parent.verticalCenter } }
    Column {
        anchors { left: ways.right; leftMargin: Theme.unit * 2; right: buttons.left; rightMargin: Theme.unit * 4; verticalCenter: parent.verticalCenter }
        visible: !bar.isRenaming
        PlainLabel {
            width: parent.width
            text: bar.head.title
            font { pixelSize: Theme.interfaceSize; weight: Font.DemiBold }
            Accessible.ignored: false
            Accessible.role: Accessible.Heading
            Accessible.name: text
        }
        PlainLabel {
            width: parent.width
            text: bar.head.line
            color: Theme.dim
            font.pixelSize: Theme.secondarySize
            Accessible.ignored: text === ""
            Accessible.role: Accessible.StaticText
            Accessible.name: text
        }
    }
    TextLine {
        id: field

        anchors { left: ways.right; right: buttons.left; rightMargin: Theme.unit * 4; verticalCenter: parent.verticalCenter }
        visible: bar.isRenaming
        name: qsTr("Title")
        Keys.onReturnPressed: { bar.keep(); bar.renamed(bar.before) }
        Keys.onEnterPressed: { bar.keep(); bar.renamed(bar.before) }
        Keys.onEscapePressed: { bar.drop(); bar.renamed(bar.before) }
        onActiveFocusChanged: if (!activeFocus) bar.keep()
    }
    Row {
        id: buttons

        anchors { right: parent.right; rightMargin: Theme.unit * 3; verticalCenter: parent.verticalCenter }
        spacing: Theme.unit
        IconButton {
            iconName: "search"
            name: qsTr("Find")
            keys: Workbench.keys("find", Workbench.keysRevision)
            onClicked: bar.findRequested()
        }
        IconButton { id: more; iconName: "more"; name: qsTr("More"); onClicked: menu.popup(more, 0, more.height) }
    }
    MenuPopup {
        id: menu

        MenuEntry { text: qsTr("Rename"); keys: Workbench.keys("rename", Workbench.keysRevision); onTriggered: bar.rename() }
        MenuEntry { text: qsTr("Archive"); keys: Workbench.keys("archive", Workbench.keysRevision); onTriggered: bar.head.archive() }
        MenuEntry { text: qsTr("Copy conversation id"); onTriggered: bar.head.copyId() }
        MenuEntry { text: qsTr("Delete"); keys: Workbench.keys("deleteConversation", Workbench.keysRevision); onTriggered: Workbench.deletionRequested(bar.head.conversation) }
    }
    Divider { anchors { bottom: parent.bottom; left: parent.left; right: parent.right } height: 1 }
}
