import QtQuick
import Ravant.Controls

/// Lets the user choose a folder of this machine; made when it is first opened.
Loader {
    id: chooser

    property string title
    /// Where it begins; at home where it is empty.
    property url folder

    signal chosen(url folder)

    active: false

    function open() { active = true; (item as PathChooser).open() }
    function close() { if (item) (item as PathChooser).close() }

    sourceComponent: PathChooser {
        title: chooser.title
        folder: chooser.folder
        wanted: FolderEntries.Folders
        onAccepted: files => chooser.chosen(files[0])
    }
}
