import QtQuick
import Ravant.Controls
import Ravant.Program

/// Back and forward among what was shown.
Row {
    IconButton {
        iconName: "chevron-left"
        name: qsTr("Back")
        keys: Workbench.keys("goBack", Workbench.keysRevision)
        enabled: Workbench.canRun("goBack", Workbench.commandsRevision)
        onClicked: Workbench.run("goBack")
    }
    IconButton {
        iconName: "chevron-right"
        name: qsTr("Forward")
        keys: Workbench.keys("goForward", Workbench.keysRevision)
        enabled: Workbench.canRun("goForward", Workbench.commandsRevision)
        onClicked: Workbench.run("goForward")
    }
}
