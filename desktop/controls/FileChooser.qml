import QtQuick
import QtQuick.Dialogs

/// The desktop's dialog for files, loaded when it is first opened.
Loader {
    id: chooser

    property string title

    signal accepted(var files)

    active: false
    onLoaded: (item as FileDialog).open()

    /// Opens it, also again.
    function open() { active ? (item as FileDialog).open() : active = true }

    sourceComponent: FileDialog {
        title: chooser.title
        fileMode: FileDialog.OpenFiles
        onAccepted: chooser.accepted(selectedFiles)
    }
}
