import QtQuick
import Ravant.Controls
import Ravant.Theme

/// What stands at the right of a conversation's row: the word of its state where that needs one, else its age.
PlainLabel {
    required property string stateWord
    required property string age

    readonly property bool isWord: stateWord === "failed" || stateWord === "interrupted"

    text: isWord ? stateWord : stateWord === "running" || stateWord === "draft" ? "" : age
    color: stateWord === "failed" ? Theme.bad : stateWord === "interrupted" ? Theme.attention : Theme.faint
    font.pixelSize: Theme.secondarySize
}
