import QtQuick
import QtQuick.Layouts
import Ravant.Composer
import Ravant.Controls
import Ravant.Theme

/// Why an agent cannot begin, and what to do.
Rectangle {
    id: trouble

    required property AgentReadiness readiness
    required property int index
    required property string words
    required property int remedy
    required property string path
    required property list<string> providers

    height: content.implicitHeight + Theme.unit * 6
    radius: 8
    color: Theme.attentionGround
    Accessible.role: Accessible.Grouping
    Accessible.name: words

    Column {
        id: content

        anchors { left: parent.left; right: parent.right; verticalCenter: parent.verticalCenter; margins: Theme.unit * 3 }
        spacing: Theme.unit * 2

        PlainLabel {
            width: parent.width
            wrapMode: Text.Wrap
            elide: Text.ElideNone
            text: trouble.words
        }
        RowLayout {
            width: parent.width
            visible: trouble.remedy !== AgentReadiness.Key
            spacing: Theme.unit * 2

            TextLine {
                id: field

                Layout.fillWidth: true
                visible: trouble.remedy === AgentReadiness.Path
                name: qsTr("Path of its program")
                placeholderText: name
                text: trouble.path
                onAccepted: trouble.readiness.setPath(trouble.index, text)
            }
            PushButton {
                visible: field.visible
                enabled: field.text.trim() !== "" && field.text !== trouble.path
                text: qsTr("Set its path")
                onClicked: trouble.readiness.setPath(trouble.index, field.text)
            }
            PushButton {
                enabled: !trouble.readiness.isScanning
                text: trouble.readiness.isScanning ? qsTr("Scanning…") : qsTr("Scan again")
                onClicked: trouble.readiness.scan()
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
                Accessible.name: qsTr("Key of %1").arg(modelData)

                TextLine {
                    id: key

                    Layout.fillWidth: true
                    name: qsTr("Key of %1").arg(provider.modelData)
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
                    onClicked: { trouble.readiness.enterKey(provider.index, key.text); key.clear() }
                }
            }
        }
    }
}
