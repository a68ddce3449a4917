import QtQuick
import Ravant.Theme

/// One line between two regions.
Rectangle {
    color: Theme.line
    implicitWidth: 1
    implicitHeight: 1
    Accessible.ignored: true
}
