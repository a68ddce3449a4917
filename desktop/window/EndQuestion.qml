import QtQuick
import Ravant.Controls
import Ravant.Program

/// Asks what is to become of the prompts that run when the user quits.
Question {
    id: question

    words: qsTr("%n prompt(s) still running", "", Workbench.end.runs)
    explanation: qsTr("Stopped prompts keep what their agents have done so far. In the background they go on, and Ravant ends with the last one.")
    onClosed: if (Workbench.end.state === OrderlyEnd.Asking) Workbench.end.cancel()

    PushButton { text: qsTr("Cancel"); onClicked: Workbench.end.cancel() }
    PushButton { text: qsTr("Keep running in the background"); onClicked: Workbench.end.keepRunning() }
    PushButton { text: qsTr("Stop and quit"); weight: PushButton.Primary; focus: true; onClicked: Workbench.end.stopAndQuit() }

    Connections {
        target: Workbench.end
        function onStateChanged() { Workbench.end.state === OrderlyEnd.Asking ? question.open() : question.close() }
    }
}
