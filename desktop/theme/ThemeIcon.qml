import QtQuick
import Ravant.Theme

/// One of the interface's icons, in one colour.
Image {
    required property string name
    property color color: Theme.dim

    width: Theme.iconSize
    height: Theme.iconSize
    source: name === "" ? "" : "image://icon/" + name + "/" + color
    sourceSize: Qt.size(width * Screen.devicePixelRatio, height * Screen.devicePixelRatio)
    Accessible.ignored: true
}
