import QtQuick
import Ravant.Theme

/// A line of text that is shown as it is.
Text {
    id: label

    /// It is never to be cut off; where it is, readers are told.
    property bool mustFit
    readonly property bool isCutOff: mustFit && truncated

    color: Theme.text
    elide: Text.ElideRight
    font { family: Theme.interfaceFont; pixelSize: Theme.interfaceSize }
    textFormat: Text.PlainText
    verticalAlignment: Text.AlignVCenter
    Accessible.ignored: !label.isCutOff
    Accessible.role: Accessible.StaticText
    Accessible.name: label.isCutOff ? label.text : ""
    Accessible.description: label.isCutOff ? qsTr("cut off") : ""
}
