import QtQuick
import QtQuick.Controls.Basic as Basic
import Ravant.Theme

/// What a menu offers, with its keys.
Basic.MenuItem {
    id: entry

    property string keys

    implicitHeight: Theme.rowHeight
    leftPadding: Theme.unit * 2
    rightPadding: Theme.unit * 2
    Accessible.name: text
    Accessible.onPressAction: triggered()

    contentItem: Item {
        PlainLabel {
            anchors { left: parent.left; right: keysLabel.left; rightMargin: Theme.unit * 2; verticalCenter: parent.verticalCenter }
            mustFit: true
            text: entry.text
            color: entry.enabled ? Theme.text : Theme.faint
        }
        PlainLabel {
            id: keysLabel

            anchors { right: parent.right; verticalCenter: parent.verticalCenter }
            mustFit: true
            text: entry.keys
            color: Theme.dim
            font.pixelSize: Theme.secondarySize
        }
    }
    background: Rectangle { radius: Theme.rowRadius; color: entry.highlighted ? Theme.raisedSelected : "transparent" }
}
