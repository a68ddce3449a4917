import QtQuick
import Ravant.Controls
import Ravant.Program
import Ravant.Sidebar

/// What can be done with a conversation of a list.
MenuPopup {
    id: menu

    required property ConversationActions actions
    required property string conversationId
    property bool isArchived: false
    /// The one that the menu was opened for: the list can move under it.
    property string target

    signal renameRequested

    onAboutToShow: target = conversationId

    MenuEntry { text: qsTr("Rename"); keys: Workbench.keys("rename", Workbench.keysRevision); onTriggered: menu.renameRequested() }
    MenuEntry {
        text: menu.isArchived ? qsTr("Bring back") : qsTr("Archive")
        keys: menu.isArchived ? "" : Workbench.keys("archive", Workbench.keysRevision)
        onTriggered: menu.isArchived ? menu.actions.unarchive(menu.target) : menu.actions.archive(menu.target)
    }
    MenuEntry { text: qsTr("Copy conversation id"); onTriggered: menu.actions.copyId(menu.target) }
    MenuEntry { text: qsTr("Delete"); keys: "Del"; onTriggered: menu.actions.remove(menu.target) }
}
