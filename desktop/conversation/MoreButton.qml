import QtQuick
import Ravant.Controls
import Ravant.Theme

/// Shows what a long text still hides; nothing where it hides nothing.
Loader {
    id: more

    required property RowItem row

    active: row.more !== ""
    visible: active
    sourceComponent: PushButton {
        implicitWidth: implicitContentWidth + Theme.unit * 4
        weight: PushButton.Quiet
        focusPolicy: Qt.NoFocus
        text: more.row.more
        onClicked: more.row.moreRequested()
    }
}
