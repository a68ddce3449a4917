import QtQuick
import Ravant.Theme

/// What kind the rows of a list that floats are of, above the first of them. It stands apart from what is above it: a list
/// that begins with one needs no margin.
PlainLabel {
    required property string section

    height: section === "" ? 0 : Theme.rowHeight + topPadding
    topPadding: Theme.unit * 2
    leftPadding: Theme.unit * 4
    visible: section !== ""
    mustFit: true
    text: section
    color: Theme.dim
    font { pixelSize: Theme.secondarySize; weight: Font.Medium }
}
