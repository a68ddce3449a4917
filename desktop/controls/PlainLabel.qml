import QtQuick
import Ravant.Theme

/// A line of text that is shown as it is.
Text {
    color: Theme.text
    elide: Text.ElideRight
    font { family: Theme.interfaceFont; pixelSize: Theme.interfaceSize }
    textFormat: Text.PlainText
    verticalAlignment: Text.AlignVCenter
    Accessible.ignored: true
}
