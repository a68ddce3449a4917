import QtQuick
import Ravant.Controls

/// Takes a new name in the place of the old one: Enter takes it, Esc and going elsewhere leave the old one.
TextLine {
    id: editor

    signal taken(string words)
    /// `isByKey` tells whether the keyboard is to stay in the list: who went elsewhere has taken it along.
    signal abandoned(isByKey: bool)

    function begin(words: string) { text = words; select(length, 0); forceActiveFocus(); }

    name: qsTr("New name")
    onAccepted: { taken(text); abandoned(true) }
    onActiveFocusChanged: if (!activeFocus) abandoned(false)
    Keys.onEscapePressed: abandoned(true)
}
