import QtQuick
import Ravant.Controls
import Ravant.Program

/// Asks what is to become of the prompts that run when the user quits.
Question {
    id: question

    words: Workbench.end.runs === 1 ? qsTr("A prompt is still running") : qsTr("%1 prompts are still running").arg(Workbench.end.runs)
    explanation: qsTr("Stopped prompts keep what their agents have done so far. In the background they go on, and Ravant ends with the last one.")
    onClosed: if (Workbench.end.state === OrderlyEnd.Asking) Workbench.end.cancel()

    PushButton { text: qsTr("Stop and quit"); weight: PushButton.Primary; onClicked: Workbench.end.stopAndQuit() }
    PushButton { text: qsTr("Keep running in the background"); onClicked: Workbench.end.keepRunning() }
    PushButton { text: qsTr("Cancel"); onClicked: Workbench.end.cancel() }

    Connections {
        target: Workbench.end
        function onStateChanged() { Workbench.end.state === OrderlyEnd.Asking ? question.open() : question.close() }
    }
}
