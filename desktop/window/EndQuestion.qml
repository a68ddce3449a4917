import QtQuick
import Ravant.Controls
import Ravant.Program

/// Asks what is to become of the prompts that run when the user quits.
Question {
    id: question

    words: Workbench.end.runs === 1 ? qsTr("A prompt is still running.") : qsTr("%1 prompts are still running.").arg(Workbench.end.runs)
    explanation: qsTr("In the background Ravant goes on until nothing runs any more, then quits. If stopped, what was done so far is kept.")
    onClosed: if (Workbench.end.state === OrderlyEnd.Asking) Workbench.end.cancel()

    PushButton { text: qsTr("Keep running in the background"); weight: PushButton.Primary; onClicked: Workbench.end.keepRunning() }
    PushButton { text: qsTr("Stop and quit"); onClicked: Workbench.end.stopAndQuit() }
    PushButton { text: qsTr("Cancel"); onClicked: Workbench.end.cancel() }

    Connections {
        target: Workbench.end
        function onStateChanged() { Workbench.end.state === OrderlyEnd.Asking ? question.open() : question.close() }
    }
}
