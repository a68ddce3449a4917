import QtQuick
import QtQml
import Ravant.Conversation
import Ravant.Controls
import Ravant.Program

/// What can be done with an item of a transcript, and the links in it. It keeps to the item, whatever rows come and go.
MenuPopup {
    id: menu

    required property TranscriptWindow rows
    property string item
    property bool hasSelection: false
    property list<string> links: []

    signal copyRequested
    signal followed(string link)

    function take(row: int) {
        item = rows.itemOf(row)
        links = rows.linksAt(row)
    }

    MenuEntry { text: qsTr("Copy as Markdown"); keys: Workbench.keys("copyMessage", Workbench.keysRevision); enabled: menu.item !== ""; onTriggered: menu.rows.copyItem(menu.item) }
    MenuEntry { text: qsTr("Copy raw record"); enabled: menu.item !== ""; onTriggered: menu.rows.copyRecord(menu.item) }
    MenuEntry { text: qsTr("Copy link"); onTriggered: menu.rows.copyLink() }

    Instantiator {
        active: menu.hasSelection
        delegate: MenuEntry { text: qsTr("Copy selection"); onTriggered: (menu as TranscriptMenu).copyRequested() }
        onObjectAdded: (index, object) => menu.insertItem(0, object as MenuEntry)
        onObjectRemoved: (index, object) => menu.removeItem(object as MenuEntry)
    }
    Instantiator {
        model: menu.links
        delegate: MenuEntry {
            required property string modelData

            text: qsTr("Open %1").arg((menu as TranscriptMenu)?.rows?.linkTarget(modelData) ?? "")
            onTriggered: (menu as TranscriptMenu).followed(modelData)
        }
        onObjectAdded: (index, object) => menu.addItem(object as MenuEntry)
        onObjectRemoved: (index, object) => menu.removeItem(object as MenuEntry)
    }
}
