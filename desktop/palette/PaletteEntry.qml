import QtQuick
import Ravant.Controls
import Ravant.Theme

/// An entry: its icon, its words and what more is known of it, its keys.
ListRow {
    id: entry

    required property int index
    required property string title
    required property string subtitle
    required property string iconName
    required property string keys

    implicitHeight: Theme.unit * 8

    ThemeIcon {
        id: icon

        anchors { left: parent.left; leftMargin: Theme.unit * 4; verticalCenter: parent.verticalCenter }
        name: entry.iconName
    }
    PlainLabel {
        id: words

        anchors { left: icon.right; leftMargin: Theme.unit * 3; verticalCenter: parent.verticalCenter }
        width: Math.min(implicitWidth, hint.x - x - Theme.unit * 3)
        text: entry.title
    }
    PlainLabel {
        anchors { left: words.right; leftMargin: Theme.unit * 3; right: hint.left; rightMargin: Theme.unit * 3; baseline: words.baseline }
        text: entry.subtitle
        color: Theme.faint
        font.pixelSize: Theme.secondarySize
    }
    PlainLabel {
        id: hint

        anchors { right: parent.right; rightMargin: Theme.unit * 4; verticalCenter: parent.verticalCenter }
        text: entry.keys
        color: Theme.faint
        font.pixelSize: Theme.secondarySize
    }
}
