import QtQuick
import Ravant.Theme

/// What a region says that has nothing to show: why, and what to do next.
Item {
    id: state

    property string words
    property string explanation
    /// What there is already; empty for nothing.
    property string note
    /// Of the one button; empty for none.
    property string offer

    signal accepted

    Column {
        anchors.centerIn: parent
        width: Math.min(parent.width - Theme.unit * 8, Theme.unit * 100)
        spacing: Theme.unit * 3
        PlainLabel {
            width: parent.width
            horizontalAlignment: Text.AlignHCenter
            wrapMode: Text.Wrap
            text: state.words
            font.weight: Font.DemiBold
            Accessible.ignored: false
            Accessible.role: Accessible.StaticText
            Accessible.name: text
        }
        PlainLabel {
            width: parent.width
            visible: text !== ""
            horizontalAlignment: Text.AlignHCenter
            wrapMode: Text.Wrap
            text: state.explanation
            color: Theme.dim
            Accessible.ignored: false
            Accessible.role: Accessible.StaticText
            Accessible.name: text
        }
        PlainLabel {
            width: parent.width
            visible: text !== ""
            horizontalAlignment: Text.AlignHCenter
            wrapMode: Text.Wrap
            text: state.note
            color: Theme.dim
            Accessible.ignored: !visible
            Accessible.role: Accessible.StaticText
            Accessible.name: text
        }
        PushButton {
            anchors.horizontalCenter: parent.horizontalCenter
            visible: state.offer !== ""
            text: state.offer
            onClicked: state.accepted()
        }
    }
}
