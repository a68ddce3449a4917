import QtQuick
import QtQuick.Dialogs as Dialogs

/// Lets the user choose a folder of this machine.
Dialogs.FolderDialog {
    id: chooser

    signal chosen(url folder)

    onAccepted: chosen(selectedFolder)
}
