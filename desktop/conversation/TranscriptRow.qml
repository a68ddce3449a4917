import QtQuick
import Ravant.Conversation
import Ravant.Controls
import Ravant.Theme

/// A row of a transcript, whichever kind it is of.
RowItem {
    id: self

    /// The row at which the walk by keys stands; -1 while the keyboard is elsewhere.
    required property int keyboardRow
    readonly property bool isCurrent: keyboardRow >= 0 && rows.stopOf(index) === keyboardRow
    readonly property bool isPartOfTools: kind === TranscriptWindow.ToolCall || kind === TranscriptWindow.ToolText
    /// Whether it is of a message, which can be copied as a whole.
    readonly property bool isMessage: item !== "" && kind <= TranscriptWindow.Code
    readonly property int space: !opensBlock ? 0 : kind === TranscriptWindow.ToolText ? Theme.unit : isPartOfTools ? 0 : isFirst ? Theme.unit * 4 : kind === TranscriptWindow.Heading ? Theme.unit * 5 : Theme.unit * 3

    signal menuRequested

    function press() { canAct ? acted() : toggled() }

    implicitHeight: loader.height + space + (kind === TranscriptWindow.ToolText && closesBlock ? Theme.unit * 2 : 0)
    Accessible.ignored: name === ""
    Accessible.role: Accessible.ListItem
    Accessible.name: name
    Accessible.focusable: true
    Accessible.focused: isCurrent && index === keyboardRow
    Accessible.selectable: true
    Accessible.selected: isSelected
    Accessible.onPressAction: press()

    Loader {
        anchors.fill: loader
        active: self.isSelected || self.isCurrent || self.place < 0
        sourceComponent: ground
    }
    Loader {
        id: loader

        x: Math.max(Theme.unit * 6, (self.width - width) / 2)
        y: self.space
        width: Math.min(Theme.unit * 190, self.width - Theme.unit * 12)
        sourceComponent: self.kind === TranscriptWindow.UserMessage ? user
            : self.kind === TranscriptWindow.Code ? code
            : self.kind === TranscriptWindow.Table ? table
            : self.kind === TranscriptWindow.Rule ? rule
            : self.kind === TranscriptWindow.ToolGroup ? toolGroup
            : self.kind === TranscriptWindow.ToolCall ? toolCall
            : self.kind === TranscriptWindow.ToolText ? toolText
            : self.kind === TranscriptWindow.Compaction || self.kind === TranscriptWindow.Unread || self.kind === TranscriptWindow.Stopped ? mark
            : self.kind === TranscriptWindow.Failure || self.kind === TranscriptWindow.Interrupted ? failure
            : self.kind === TranscriptWindow.Reasoning || self.kind === TranscriptWindow.RunProgress ? progress
            : prose
    }
    HoverHandler { id: pointer; enabled: self.isMessage }
    Loader {
        id: copyPlace

        readonly property real margin: self.width - loader.x - loader.width
        /// Over the words there is no place for it: then the menu has it alone.
        readonly property bool isBeside: margin >= Theme.rowHeight + Theme.unit * 4

        anchors { right: parent.right; rightMargin: margin - Theme.rowHeight - Theme.unit; top: loader.top; topMargin: self.kind === TranscriptWindow.UserMessage ? Theme.unit * 1.5 : -Theme.unit }
        active: pointer.hovered && isBeside
        sourceComponent: copyButton
    }
    TapHandler {
        acceptedButtons: Qt.LeftButton | Qt.RightButton
        onTapped: (point, button) => button === Qt.RightButton ? self.menuRequested() : self.clicked()
    }

    Component {
        id: ground

        Item {
            Rectangle {
                anchors { fill: parent; leftMargin: -Theme.unit * 2; rightMargin: -Theme.unit * 2; topMargin: -Theme.unit; bottomMargin: -Theme.unit }
                visible: self.isSelected
                radius: Theme.rowRadius
                color: Theme.selected
            }
            Rectangle {
                anchors { fill: parent; topMargin: self.isFirst ? 0 : -self.space; leftMargin: -Theme.unit * 2 - 2; rightMargin: parent.width + Theme.unit * 2 }
                visible: self.isCurrent
                color: Theme.accent
            }
            Rectangle {
                anchors { fill: parent; leftMargin: -Theme.unit * 2; rightMargin: -Theme.unit * 2 }
                visible: self.place < 0
                radius: Theme.rowRadius
                color: Theme.attentionGround
            }
        }
    }
    Component {
        id: copyButton

        IconButton { iconName: "copy"; name: qsTr("Copy message"); focusPolicy: Qt.NoFocus; onClicked: self.rows.copyItem(self.item) }
    }
    Component { id: user; UserRow { row: self } }
    Component { id: prose; ProseRow { row: self } }
    Component { id: code; CodeRow { row: self } }
    Component { id: table; TableRow { row: self } }
    Component { id: rule; Rectangle { implicitHeight: 1; color: Theme.line } }
    Component { id: toolGroup; ToolGroupRow { row: self } }
    Component { id: toolCall; ToolCallRow { row: self } }
    Component { id: toolText; ToolTextRow { row: self } }
    Component { id: mark; MarkRow { row: self } }
    Component { id: failure; FailureRow { row: self } }
    Component { id: progress; ProgressRow { row: self } }
}
