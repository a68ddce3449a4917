import QtQuick
import Ravant.Composer
import Ravant.Controls
import Ravant.Program
import Ravant.Theme

/// Where a prompt is written and sent, below a conversation or on the page of a new one.
FocusScope {
    id: root

    enabled: visible
    implicitHeight: visible ? parts.implicitHeight + Theme.unit * 4 : 0
    onVisibleChanged: if (visible && Workbench.detailKind === Workbench.NewConversation) field.forceActiveFocus()

    PromptComposer {
        id: composer

        onTextReplaced: field.replace(text)
        onNewConversationOpened: field.forceActiveFocus()
    }
    CommandHandler { command: "focusInput"; enabled: root.visible; onTriggered: field.forceActiveFocus(Qt.ShortcutFocusReason) }
    CommandHandler { command: "sendNow"; enabled: root.visible && composer.canSend; onTriggered: composer.sendNow() }
    CommandHandler { command: "stopRun"; enabled: stop.visible && stop.enabled; onTriggered: composer.stop() }
    CommandHandler { command: "chooseAgent"; enabled: root.visible && agent.enabled; onTriggered: agents.open() }
    CommandHandler { command: "chooseModel"; enabled: root.visible && model.enabled; onTriggered: models.open() }
    CommandHandler { command: "chooseEffort"; enabled: root.visible && effort.enabled; onTriggered: efforts.open() }

    Column {
        id: parts

        anchors.horizontalCenter: parent.horizontalCenter
        width: Math.min(root.width - Theme.unit * 10, Theme.unit * 194)
        spacing: Theme.unit * 2

        Refusal { width: parent.width; words: composer.refusal }
        PlainLabel {
            width: parent.width
            visible: composer.isQueueHeld
            leftPadding: Theme.unit * 3
            text: qsTr("These wait until one of them is sent, or the next prompt has finished.")
            color: Theme.faint
            font.pixelSize: Theme.secondarySize
            Accessible.ignored: !visible
            Accessible.role: Accessible.StaticText
            Accessible.name: text
        }
        QueueList { width: parent.width; queue: composer.queue; onDismissed: field.forceActiveFocus() }
        AttachmentChips { width: parent.width; attachments: composer.attachments; onDetached: index => composer.detach(index) }

        Rectangle {
            id: box

            /// The actions have a line of their own, below the pickers.
            readonly property bool isNarrow: width < attach.width + agent.implicitWidth + model.implicitWidth + effort.implicitWidth + actions.width + Theme.unit * 8

            width: parent.width
            height: field.height + pickers.height + (isNarrow ? actions.height + Theme.unit * 2 : 0) + Theme.unit * 8
            radius: 10
            color: Theme.raised
            border { width: 1; color: field.activeFocus ? Theme.strongLine : Theme.line }

            PromptField {
                id: field

                anchors { top: parent.top; left: parent.left; right: parent.right; margins: Theme.unit * 3 }
                height: Math.max(implicitHeight, Theme.unit * 6)
                focus: true
                name: qsTr("Prompt")
                placeholder: composer.placeholder
                maximumHeight: (root.Window.height > 0 ? root.Window.height : 600) / 3
                onTextChanged: composer.text = text
                onKeyPressed: event => event.accepted = composer.takeKey(event.key, event.modifiers)
            }
            DropArea {
                anchors.fill: parent
                onEntered: drag => drag.accepted = drag.hasUrls
                onDropped: drop => drop.accepted = composer.attach(drop.urls)
            }
            Flow {
                id: pickers

                anchors { bottom: box.isNarrow ? actions.top : parent.bottom; left: parent.left; right: box.isNarrow ? parent.right : actions.left; margins: Theme.unit * 2 }
                spacing: Theme.unit

                IconButton {
                    id: attach

                    iconName: "paperclip"
                    name: qsTr("Attach files")
                    onClicked: files.open()
                }
                PickerButton {
                    id: agent

                    width: Math.min(implicitWidth, pickers.width)
                    subject: qsTr("Agent")
                    choice: composer.agentName
                    enabled: composer.canChooseAgent
                    obstacle: qsTr("A conversation keeps its agent")
                    keys: Workbench.keys("chooseAgent", Workbench.commandsRevision)
                    onClicked: agents.open()

                    ChoicePopup {
                        id: agents

                        name: qsTr("Choose an agent")
                        model: composer.agents
                        initialRow: composer.agents.chosenRow
                        onFilterChanged: composer.agents.filter = filter
                        onChosen: row => composer.chooseAgent(row)
                    }
                }
                PickerButton {
                    id: model

                    width: Math.min(implicitWidth, pickers.width)
                    subject: qsTr("Model")
                    choice: composer.modelName
                    enabled: composer.canChooseModel
                    keys: Workbench.keys("chooseModel", Workbench.commandsRevision)
                    onClicked: models.open()

                    ChoicePopup {
                        id: models

                        name: qsTr("Choose or type a model")
                        model: composer.models
                        initialRow: composer.models.chosenRow
                        onFilterChanged: composer.models.filter = filter
                        onChosen: row => composer.chooseModel(row)
                    }
                }
                PickerButton {
                    id: effort

                    width: Math.min(implicitWidth, pickers.width)
                    subject: qsTr("Effort")
                    choice: composer.effortName
                    label: composer.hasEffort ? composer.effortName : qsTr("Default effort")
                    enabled: composer.canChooseEffort
                    obstacle: qsTr("This model has no efforts to choose from")
                    keys: Workbench.keys("chooseEffort", Workbench.commandsRevision)
                    onClicked: efforts.open()

                    ChoicePopup {
                        id: efforts

                        name: qsTr("Choose an effort")
                        model: composer.efforts
                        initialRow: composer.efforts.chosenRow
                        onFilterChanged: composer.efforts.filter = filter
                        onChosen: row => composer.chooseEffort(row)
                    }
                }
            }
            Row {
                id: actions

                anchors { bottom: parent.bottom; right: parent.right; margins: Theme.unit * 2 }
                spacing: Theme.unit

                ContextMeter {
                    anchors.verticalCenter: parent.verticalCenter
                    words: composer.contextWords
                    share: composer.contextShare
                    isNearlyFull: composer.isContextNearlyFull
                }
                PushButton {
                    id: stop

                    visible: composer.isRunning
                    enabled: composer.stopObstacle === ""
                    iconName: "stop"
                    text: qsTr("Stop")
                    hint: composer.stopObstacle === "" ? qsTr("Stop the run") : composer.stopObstacle
                    keys: Workbench.keys("stopRun", Workbench.commandsRevision)
                    onClicked: composer.stop()
                }
                IconButton {
                    width: Theme.unit * 8
                    iconName: "arrow-up"
                    name: qsTr("Send")
                    keys: "Enter"
                    enabled: composer.canSend
                    ink: enabled && !hovered ? Theme.textOnAccent : Theme.text
                    ground: enabled ? Theme.accent : Theme.hover
                    onClicked: composer.send()
                }
            }
        }
    }
    Connections {
        target: composer.queue
        function onEdited(): void { field.forceActiveFocus() }
    }
    FileChooser {
        id: files

        title: qsTr("Attach files")
        folder: composer.projectFolder
        onAccepted: chosen => composer.attach(chosen)
        onClosed: field.forceActiveFocus()
    }
}
