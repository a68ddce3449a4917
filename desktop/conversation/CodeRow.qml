import QtQuick
import Ravant.Conversation
import Ravant.Controls
import Ravant.Theme

/// A block of code, or a piece of one, which scrolls sideways by itself.
Item {
    id: code

    required property RowItem row
    /// Without words for a head, Copy stands beside the code.
    readonly property bool hasHead: row.opensBlock && row.label !== ""

    implicitHeight: head.height + view.anchors.topMargin + view.height + more.height + (more.visible ? Theme.unit : 0)

    Rectangle {
        anchors.fill: parent
        anchors.topMargin: code.row.opensBlock ? 0 : -radius
        anchors.bottomMargin: code.row.closesBlock ? 0 : -radius
        radius: Theme.blockRadius
        color: Theme.sunken
        border { width: 1; color: Theme.line }
    }
    Rectangle {
        visible: !code.row.opensBlock
        anchors { left: parent.left; right: parent.right; top: parent.top; margins: 1; topMargin: -Theme.blockRadius }
        height: Theme.blockRadius + 1
        color: Theme.sunken
    }
    Item {
        id: head

        visible: code.hasHead
        width: parent.width
        height: visible ? Theme.unit * 8 : 0
        PlainLabel {
            anchors { left: parent.left; leftMargin: Theme.unit * 3; right: parent.right; rightMargin: Theme.unit * 8; verticalCenter: parent.verticalCenter }
            text: code.row.label
            color: Theme.dim
            font { family: code.row.kind === TranscriptWindow.ToolText ? Theme.interfaceFont : Theme.codeFont; pixelSize: Theme.secondarySize; preferShaping: false }
        }
        Divider { anchors { bottom: parent.bottom; left: parent.left; right: parent.right; margins: 1; bottomMargin: 0 } height: 1 }
    }
    IconButton {
        id: copy

        anchors { top: parent.top; topMargin: Theme.unit / 2; right: parent.right; rightMargin: Theme.unit }
        visible: code.row.opensBlock
        iconName: "copy"
        name: qsTr("Copy")
        focusPolicy: Qt.NoFocus
        onClicked: code.row.rows.copyBlock(code.row.index)
    }
    SidewaysScroll {
        id: view

        row: code.row
        ground: Theme.sunken
        text: words
        corner: code.row.closesBlock && anchors.rightMargin === 1 ? Theme.blockRadius : 0
        anchors { top: head.bottom; topMargin: head.visible || !code.row.opensBlock ? 0 : 1; left: parent.left; right: parent.right; leftMargin: 1; rightMargin: copy.visible && !code.hasHead ? Theme.unit * 9 : 1 }
        height: words.implicitHeight + Theme.unit * (code.row.opensBlock ? 2 : 0) + Theme.unit * (code.row.closesBlock ? 1 : 0)
        contentWidth: words.width + Theme.unit * 6

        RowText {
            id: words

            row: code.row
            x: Theme.unit * 3 - 1
            y: code.row.opensBlock ? Theme.unit * 2 : 0
            wrapMode: TextEdit.NoWrap
            textFormat: TextEdit.RichText
            tabStopDistance: Theme.secondarySize * 2.4
            text: code.row.style.code(code.row.words)
            font { family: Theme.codeFont; pixelSize: Theme.secondarySize; preferShaping: false }
        }
        Caret { words: words }
    }
    MoreButton { id: more; row: code.row; anchors { top: view.bottom; left: parent.left; leftMargin: Theme.unit } }
}
