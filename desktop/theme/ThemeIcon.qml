import QtQuick
import Ravant.Theme

/// One of the interface's icons, in one colour.
Image {
    id: icon

    required property string name
    property color color: Theme.dim

    width: Theme.iconSize
    height: Theme.iconSize
    source: name === "" ? "" : "image://icon/" + name + "/" + color
    sourceSize {
        width: icon.width * Screen.devicePixelRatio
        height: icon.height * Screen.devicePixelRatio
    }
    Accessible.ignored: true
}
