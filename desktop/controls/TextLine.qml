import QtQuick
import QtQuick.Controls.Basic as Basic
import Ravant.Theme

/// A field of one line.
Basic.TextField {
    id: field

    required property string name

    implicitHeight: Theme.rowHeight
    leftPadding: Theme.unit * 2
    rightPadding: Theme.unit * 2
    verticalAlignment: TextInput.AlignVCenter
    color: Theme.text
    placeholderTextColor: Theme.faint
    selectByMouse: true
    selectionColor: Theme.accent
    selectedTextColor: Theme.textOnAccent
    font { family: Theme.interfaceFont; pixelSize: Theme.interfaceSize }
    Accessible.name: name

    background: Rectangle {
        radius: Theme.rowRadius
        color: Theme.raised
        border { width: field.activeFocus ? 2 : 1; color: field.activeFocus ? Theme.accent : Theme.strongLine }
    }
}
