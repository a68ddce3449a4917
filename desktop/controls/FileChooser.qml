import QtQuick
import QtQuick.Dialogs

/// The desktop's dialog for files, loaded when it is first opened.
Loader {
    id: chooser

    property string title
    /// Where it begins.
    property url folder

    signal accepted(var files)
    /// With or without files.
    signal closed

    active: false
    onLoaded: (item as FileDialog).open()

    /// Opens it, also again.
    function open() { active ? (item as FileDialog).open() : active = true }

    sourceComponent: FileDialog {
        title: chooser.title
        currentFolder: chooser.folder
        fileMode: FileDialog.OpenFiles
        onAccepted: { chooser.accepted(selectedFiles); chooser.closed() }
        onRejected: chooser.closed()
    }
}
