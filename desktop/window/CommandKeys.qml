import QtQuick
import Ravant.Program

/// The keys of every command, in the whole window.
Instantiator {
    model: Workbench.commands

    delegate: Shortcut {
        required property string modelData

        sequences: Workbench.sequences(modelData, Workbench.commandsRevision)
        onActivated: Workbench.run(modelData)
    }
}
