import QtQuick
import Ravant.Controls
import Ravant.Theme

/// Why something of the transcript could not be read, beside what is still right, with the way on.
Rectangle {
    id: bar

    property string words

    signal tryAgain

    visible: words !== ""
    height: Math.max(reason.implicitHeight, again.implicitHeight) + Theme.unit * 4
    radius: Theme.blockRadius
    color: Theme.badGround
    Accessible.role: Accessible.AlertMessage
    Accessible.name: bar.words

    ThemeIcon {
        id: sign

        anchors { left: parent.left; leftMargin: Theme.unit * 3; verticalCenter: parent.verticalCenter }
        name: "warning"
        color: Theme.bad
    }
    PlainLabel {
        id: reason

        anchors { left: sign.right; leftMargin: Theme.unit * 2; right: again.left; rightMargin: Theme.unit * 3; verticalCenter: parent.verticalCenter }
        text: bar.words
        wrapMode: Text.Wrap
        maximumLineCount: 4
        Accessible.ignored: true
    }
    PushButton {
        id: again

        anchors { right: parent.right; rightMargin: Theme.unit * 2; verticalCenter: parent.verticalCenter }
        text: qsTr("Try again")
        onClicked: bar.tryAgain()
    }
}
