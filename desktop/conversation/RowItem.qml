import QtQuick
import Ravant.Conversation

/// What every part of a row knows of it, and what it says to the transcript.
Item {
    required property int index
    required property int kind
    required property string item
    required property bool isFirst
    required property bool isLast
    required property bool opensBlock
    required property bool closesBlock
    required property bool isOpen
    required property bool isGrowing
    required property bool canAct
    required property int outcome
    required property int level
    required property string more
    required property string html
    required property string words
    required property string label
    required property string detail
    required property string iconName
    required property string name
    required property bool isSelected
    /// Of code, for a `TextPainter`.
    required property var paint
    /// Which of what is marked in it stands out, from 1; -1 for the row as a whole, 0 for none.
    required property int place
    /// The targets of its links.
    required property list<string> links
    required property TranscriptWindow rows
    required property ProseStyle style

    signal clicked
    signal toggled
    signal moreRequested
    signal acted
    signal followed(string link)
    signal hovered(string link)
    signal textSelected(TextEdit edit)
    /// The text of the row has the place at its character, or has none where it is negative.
    signal placeFound(TextEdit edit, int position)
    signal sidewaysRequested(int direction)
}
