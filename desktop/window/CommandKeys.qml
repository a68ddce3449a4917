import QtQuick
import Ravant.Program

/// The keys of every command, in the whole window. Those of one that cannot run are left to what is focused.
Instantiator {
    model: Workbench.commands

    delegate: Shortcut {
        required property string modelData

        sequences: Workbench.sequences(modelData, Workbench.keysRevision)
        enabled: Workbench.canRun(modelData, Workbench.commandsRevision)
        onActivated: Workbench.run(modelData)
    }
}
