import QtQuick
import Ravant.Controls
import Ravant.Theme

/// What kind the entries below it are of.
PlainLabel {
    required property string section

    height: section === "" ? 0 : Theme.rowHeight
    leftPadding: Theme.unit * 4
    visible: section !== ""
    text: section
    color: Theme.dim
    font { pixelSize: Theme.secondarySize; weight: Font.Medium }
}
