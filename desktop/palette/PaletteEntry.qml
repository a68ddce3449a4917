import QtQuick
import Ravant.Controls
import Ravant.Theme

/// An entry: its icon, its words and what more is known of it, its keys.
ListRow {
    id: entry

    required property int index
    required property string title
    /// The title with what was found standing out, where that is known.
    required property string markup
    required property string subtitle
    required property string iconName
    required property string keys
    /// What more is known stands below the words, where these can be long.
    property bool stacked: false

    floats: true

    ThemeIcon {
        id: icon

        anchors { left: parent.left; leftMargin: Theme.unit * 4; verticalCenter: parent.verticalCenter }
        name: entry.iconName
    }
    PlainLabel {
        id: words

        anchors { left: icon.right; leftMargin: Theme.unit * 3; verticalCenter: parent.verticalCenter; verticalCenterOffset: entry.stacked ? -Theme.unit * 2 : 0 }
        width: Math.min(implicitWidth, hint.x - x - Theme.unit * 3 - aside.room)
        text: entry.markup === "" ? entry.title : entry.markup
        textFormat: entry.markup === "" ? Text.PlainText : Text.StyledText
    }
    PlainLabel {
        id: aside

        /// Kept for it beside a long title.
        readonly property real room: entry.stacked || text === "" ? 0 : Math.min(implicitWidth, entry.width / 3) + Theme.unit * 3

        x: entry.stacked ? words.x : words.x + words.width + Theme.unit * 3
        y: entry.stacked ? words.y + words.height : words.y + words.baselineOffset - baselineOffset
        width: hint.x - x - Theme.unit * 3
        text: entry.subtitle
        color: entry.faint
        font.pixelSize: Theme.secondarySize
    }
    PlainLabel {
        id: hint

        anchors { right: parent.right; rightMargin: Theme.unit * 4; verticalCenter: parent.verticalCenter }
        text: entry.keys
        color: entry.faint
        font.pixelSize: Theme.secondarySize
    }
}
