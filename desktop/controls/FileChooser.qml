import QtQuick
import Ravant.Controls

/// Lets the user choose files of this machine; made when it is first opened.
Loader {
    id: chooser

    property string title
    /// Where it begins; at home where it is empty.
    property url folder

    signal accepted(var files)
    /// With or without files.
    signal closed

    active: false

    function open() { active = true; (item as PathChooser).open() }
    function close() { if (item) (item as PathChooser).close() }

    sourceComponent: PathChooser {
        title: chooser.title
        folder: chooser.folder
        wanted: FolderEntries.Files
        onAccepted: files => chooser.accepted(files)
        onClosed: chooser.closed()
    }
}
