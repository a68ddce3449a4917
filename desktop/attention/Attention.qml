import QtQuick
import Ravant.Attention
import Ravant.Program

/// Tells the user about conversations that are not looked at, and leads to them. What ended last is said to a screen
/// reader by an item that nobody sees: as it is shown anew, its name is read.
Item {
    visible: runEnds.spoken !== ""
    width: 1
    height: 1
    Accessible.role: Accessible.AlertMessage
    Accessible.name: runEnds.spoken

    RunEnds { id: runEnds }
    DesktopNotices { ends: runEnds }
    NeedsMe { id: needsMe }
    CommandHandler { command: "nextNeedingMe"; onTriggered: needsMe.goToNext() }
}
