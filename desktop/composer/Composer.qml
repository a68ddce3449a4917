import QtQuick
import Ravant.Composer
import Ravant.Controls
import Ravant.Program
import Ravant.Theme

/// Where a prompt is written and sent, below a conversation or on the page of a new one.
FocusScope {
    id: root

    signal sent

    enabled: visible
    implicitHeight: visible ? parts.implicitHeight + Theme.unit * 4 : 0
    onVisibleChanged: if (visible && Workbench.detailKind === Workbench.NewConversation) field.forceActiveFocus()

    PromptComposer {
        id: composer

        onTextReplaced: field.replace(text)
        onSent: root.sent()
        onFieldWanted: field.forceActiveFocus()
    }
    Connections {
        target: Workbench
        function onFilesDropped(dropped) { composer.attach(dropped); field.forceActiveFocus() }
        // What would be chosen was wanted where one was.
        function onSelectionChanged() { files.close(); projectFolder.close() }
    }
    Connections {
        target: composer.troubles
        function onModelWanted(): void { models.open() }
        function onFolderWanted(): void { projectFolder.open() }
    }
    CommandHandler { command: "focusInput"; enabled: root.visible; onTriggered: field.forceActiveFocus(Qt.ShortcutFocusReason) }
    CommandHandler { command: "sendNow"; enabled: root.visible && composer.canSend; onTriggered: composer.sendNow() }
    CommandHandler { command: "stopRun"; enabled: stop.visible && stop.enabled; onTriggered: composer.stop() }
    CommandHandler { command: "chooseAgent"; enabled: root.visible && agent.enabled; onTriggered: agents.open() }
    CommandHandler { command: "chooseModel"; enabled: root.visible && model.enabled; onTriggered: models.open() }
    CommandHandler { command: "chooseEffort"; enabled: root.visible && effort.enabled; onTriggered: efforts.open() }
    CommandHandler { command: "scanAgents"; enabled: root.visible && !composer.troubles.isScanning; onTriggered: composer.troubles.scan() }
    CommandHandler { command: "attachFiles"; enabled: root.visible; onTriggered: files.open() }

    Column {
        id: parts

        anchors.horizontalCenter: parent.horizontalCenter
        width: Math.min(root.width - Theme.unit * 10, Theme.unit * 194)
        spacing: Theme.unit * 2

        Repeater {
            model: composer.troubles

            AgentTrouble { width: parts.width; troubles: composer.troubles }
        }
        PlainLabel {
            width: parent.width
            visible: text !== ""
            leftPadding: (parts.width - Math.min(root.width - Theme.unit * 12, Theme.unit * 190)) / 2
            text: composer.troubles.readyAgents
            bottomPadding: Theme.unit * 2
            color: Theme.dim
            font.pixelSize: Theme.secondarySize
            Accessible.ignored: !visible
            Accessible.role: Accessible.StaticText
            Accessible.name: text
        }
        Refusal { width: parent.width; words: composer.troubles.count > 0 ? "" : composer.refusal }
        Column {
            width: parent.width
            visible: composer.isQueueHeld || queued.count > 0
            spacing: Theme.unit

            Divider { width: parent.width; height: 1 }
            PlainLabel {
                width: parent.width
                visible: composer.isQueueHeld
                leftPadding: Theme.unit * 3
                topPadding: Theme.unit
                text: qsTr("These wait until you send one of them, or another prompt.")
                color: Theme.faint
                font.pixelSize: Theme.secondarySize
                Accessible.ignored: !visible
                Accessible.role: Accessible.StaticText
                Accessible.name: text
            }
            QueueList { id: queued; width: parent.width; queue: composer.queue; isHeld: composer.isQueueHeld; onDismissed: field.forceActiveFocus() }
        }
        AttachmentChips {
            width: parent.width
            attachments: composer.attachments
            longText: composer.longText
            onDetached: index => composer.detach(index)
            onLongTextShown: composer.showLongText()
            onLongTextRemoved: composer.removeLongText()
        }

        Rectangle {
            id: box

            readonly property real widthOfChoices: attach.width + agent.implicitWidth + model.implicitWidth + effort.implicitWidth + Theme.unit * 8
            readonly property real widthOfActions: (stop.visible ? stop.implicitWidth + Theme.unit : 0) + send.width
            /// The meter is shorter.
            readonly property bool isNarrow: width < widthOfChoices + widthOfActions + meter.fullWidth
            /// The pickers take the whole width, in several lines.
            readonly property bool isStacked: width < widthOfChoices + widthOfActions + meter.narrowWidth
            /// The actions have no room in the pickers' last line.
            readonly property bool hasLineOfActions: isStacked && pickers.width < effort.x + effort.width + widthOfActions + meter.narrowWidth + Theme.unit

            width: parent.width
            height: field.height + pickers.height + (hasLineOfActions ? actions.height + Theme.unit * 2 : 0) + Theme.unit * 8
            radius: Theme.composerRadius
            color: Theme.raised
            border { width: field.activeFocus ? 2 : 1; color: field.activeFocus ? Theme.accent : Theme.strongLine }

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
            Flow {
                id: pickers

                anchors { bottom: box.hasLineOfActions ? actions.top : parent.bottom; left: parent.left; right: box.isStacked ? parent.right : actions.left; margins: Theme.unit * 2 }
                spacing: Theme.unit

                IconButton {
                    id: attach

                    iconName: "paperclip"
                    name: qsTr("Attach files")
                    keys: Workbench.keys("attachFiles", Workbench.keysRevision)
                    onClicked: files.open()
                }
                PickerButton {
                    id: agent

                    width: Math.min(implicitWidth, pickers.width)
                    subject: qsTr("Agent")
                    choice: composer.pickers.agentName
                    enabled: composer.pickers.canChooseAgent
                    obstacle: qsTr("A conversation keeps its agent.")
                    keys: Workbench.keys("chooseAgent", Workbench.keysRevision)
                    onClicked: agents.open()

                    ChoicePopup {
                        id: agents

                        name: qsTr("Choose an agent")
                        model: composer.pickers.agents
                        initialRow: composer.pickers.agents.chosenRow
                        onFilterChanged: composer.pickers.agents.filter = filter
                        onChosen: row => composer.pickers.chooseAgent(row)
                    }
                }
                PickerButton {
                    id: model

                    width: Math.min(implicitWidth, pickers.width)
                    subject: qsTr("Model")
                    choice: composer.pickers.modelName
                    enabled: composer.pickers.canChooseModel
                    keys: Workbench.keys("chooseModel", Workbench.keysRevision)
                    onClicked: models.open()

                    ChoicePopup {
                        id: models

                        name: qsTr("Choose or type a model")
                        model: composer.pickers.models
                        initialRow: composer.pickers.models.chosenRow
                        onFilterChanged: composer.pickers.models.filter = filter
                        onChosen: row => composer.pickers.chooseModel(row)
                    }
                }
                PickerButton {
                    id: effort

                    width: Math.min(implicitWidth, pickers.width)
                    subject: qsTr("Effort")
                    choice: composer.pickers.effortName
                    label: composer.pickers.hasEffort ? composer.pickers.effortName : qsTr("Default effort")
                    enabled: composer.pickers.canChooseEffort
                    obstacle: qsTr("This model has no efforts to choose from.")
                    keys: Workbench.keys("chooseEffort", Workbench.keysRevision)
                    onClicked: efforts.open()

                    ChoicePopup {
                        id: efforts

                        name: qsTr("Choose an effort")
                        model: composer.pickers.efforts
                        initialRow: composer.pickers.efforts.chosenRow
                        onFilterChanged: composer.pickers.efforts.filter = filter
                        onChosen: row => composer.pickers.chooseEffort(row)
                    }
                }
            }
            Row {
                id: actions

                anchors { bottom: parent.bottom; right: parent.right; margins: Theme.unit * 2 }
                spacing: Theme.unit

                MeterButton {
                    id: meter

                    subject: qsTr("Context")
                    isNarrow: box.isNarrow
                    anchors.verticalCenter: parent.verticalCenter
                    words: composer.contextWords
                    figures: composer.contextFigures
                    share: composer.contextShare
                    isNearlyFull: composer.isContextNearlyFull
                }
                PushButton {
                    id: stop

                    visible: composer.isUnderWay
                    enabled: composer.stopObstacle === ""
                    iconName: "stop"
                    text: qsTr("Stop")
                    hint: composer.stopObstacle === "" ? qsTr("Stop the run") : composer.stopObstacle
                    keys: Workbench.keys("stopRun", Workbench.keysRevision)
                    onClicked: composer.stop()
                }
                IconButton {
                    id: send

                    width: Theme.unit * 8
                    iconName: "arrow-up"
                    name: qsTr("Send")
                    keys: "Enter"
                    enabled: composer.canSend
                    ink: enabled && !hovered ? Theme.textOnAccent : Theme.text
                    ground: enabled ? Theme.accent : Theme.raisedSelected
                    onClicked: composer.send()
                }
            }
        }
    }
    FolderChooser {
        id: projectFolder

        title: qsTr("Choose the project's folder")
        onChosen: folder => composer.troubles.setFolder(folder)
    }
    FileChooser {
        id: files

        title: qsTr("Attach files")
        folder: composer.projectFolder
        onAccepted: chosen => composer.attach(chosen)
        onClosed: field.forceActiveFocus()
    }
}
