import QtQuick

/// The list that the sidebar's selection is: the latest conversations, or those of a project.
FocusScope {
    Accessible.role: Accessible.Grouping
    Accessible.name: qsTr("Content")
}
