import QtQuick
import Ravant.Controls
import Ravant.Theme

/// Why a prompt was not sent, and what to do.
Rectangle {
    id: refusal

    required property string words

    visible: words !== ""
    height: visible ? label.implicitHeight + Theme.unit * 4 : 0
    radius: Theme.blockRadius
    color: Theme.badGround
    Accessible.role: Accessible.AlertMessage
    Accessible.name: words
    Accessible.ignored: !visible

    ThemeIcon {
        id: mark

        anchors { left: parent.left; leftMargin: Theme.unit * 3; verticalCenter: parent.verticalCenter }
        name: "warning"
        color: Theme.bad
    }
    PlainLabel {
        id: label

        anchors { left: mark.right; leftMargin: Theme.unit * 2; right: parent.right; rightMargin: Theme.unit * 3; verticalCenter: parent.verticalCenter }
        wrapMode: Text.Wrap
        elide: Text.ElideNone
        text: refusal.words
        color: Theme.text
    }
}
