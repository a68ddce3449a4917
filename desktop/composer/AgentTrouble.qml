import QtQuick
import QtQuick.Layouts
import Ravant.Composer
import Ravant.Controls
import Ravant.Theme

/// What keeps a prompt from working, and what to do.
Rectangle {
    id: trouble

    required property AgentTroubles troubles
    required property int index
    required property string words
    required property int remedy
    required property string offer
    required property string path
    required property list<string> providers
    readonly property bool takesPath: remedy === AgentTroubles.Path || remedy === AgentTroubles.Add

    height: content.implicitHeight + Theme.unit * 4
    radius: Theme.blockRadius
    color: Theme.attentionGround
    Accessible.role: Accessible.Grouping
    Accessible.name: words

    Column {
        id: content

        anchors { left: parent.left; right: parent.right; verticalCenter: parent.verticalCenter; leftMargin: Theme.unit * 3; rightMargin: Theme.unit * 2 }
        spacing: Theme.unit * 2

        RowLayout {
            width: parent.width
            spacing: Theme.unit * 2

            ThemeIcon { Layout.alignment: Qt.AlignVCenter; name: "warning"; color: Theme.attention }
            PlainLabel {
                Layout.fillWidth: true
                wrapMode: Text.Wrap
                elide: Text.ElideNone
                text: trouble.words
            }
            PushButton {
                visible: !trouble.takesPath && trouble.remedy !== AgentTroubles.Key && trouble.remedy !== AgentTroubles.Scan
                text: trouble.offer
                onClicked: trouble.troubles.mend(trouble.index)
            }
            PushButton {
                visible: trouble.takesPath || trouble.remedy === AgentTroubles.Scan
                enabled: !trouble.troubles.isScanning
                text: trouble.troubles.isScanning ? qsTr("Scanning…") : qsTr("Scan again")
                onClicked: trouble.troubles.scan()
            }
        }
        RowLayout {
            width: parent.width
            visible: trouble.takesPath
            spacing: Theme.unit * 2

            TextLine {
                id: field

                Layout.fillWidth: true
                name: qsTr("Path of its program")
                placeholderText: name
                text: trouble.path
                onAccepted: trouble.troubles.setPath(trouble.index, text)
            }
            PushButton {
                enabled: field.text.trim() !== "" && (trouble.remedy === AgentTroubles.Add || field.text !== trouble.path)
                text: trouble.offer
                onClicked: trouble.troubles.setPath(trouble.index, field.text)
            }
        }
        Repeater {
            model: trouble.providers

            RowLayout {
                id: provider

                required property int index
                required property string modelData

                width: content.width
                spacing: Theme.unit * 2
                Accessible.role: Accessible.Grouping
                Accessible.name: qsTr("API key of %1").arg(modelData)

                TextLine {
                    id: key

                    Layout.fillWidth: true
                    name: qsTr("API key of %1").arg(provider.modelData)
                    placeholderText: name
                    // The accessible name of a field that hides its text is empty, so an empty one hides nothing.
                    echoMode: text === "" ? TextInput.Normal : TextInput.Password
                    inputMethodHints: Qt.ImhSensitiveData | Qt.ImhNoPredictiveText
                    onAccepted: enter.clicked()
                }
                PushButton {
                    id: enter

                    enabled: key.text !== ""
                    text: qsTr("Enter the key")
                    Accessible.name: qsTr("Enter the key of %1").arg(provider.modelData)
                    onClicked: trouble.troubles.enterKey(provider.index, key.text)
                }
            }
        }
    }
}
