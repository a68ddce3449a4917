import QtQuick
import Ravant.Controls

/// Takes a new name in the place of the old one: Enter takes it, Esc and going elsewhere leave the old one.
TextLine {
    id: editor

    signal taken(string words)
    signal abandoned

    function begin(words: string) { text = words; select(length, 0); forceActiveFocus(); }

    name: qsTr("New name")
    onAccepted: { taken(text); abandoned() }
    onActiveFocusChanged: if (!activeFocus) abandoned()
    Keys.onEscapePressed: abandoned()
}
