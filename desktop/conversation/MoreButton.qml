import QtQuick
import Ravant.Controls
import Ravant.Theme

/// Shows what a long text still hides.
PushButton {
    required property RowItem row

    visible: row.more !== ""
    height: visible ? implicitHeight : 0
    implicitWidth: implicitContentWidth + Theme.unit * 4
    weight: PushButton.Quiet
    focusPolicy: Qt.NoFocus
    text: row.more
    onClicked: row.moreRequested()
}
