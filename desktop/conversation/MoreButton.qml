import QtQuick
import Ravant.Controls

/// Shows what a long text still hides.
PushButton {
    required property RowItem row

    visible: row.hiddenLines > 0
    height: visible ? implicitHeight : 0
    weight: PushButton.Quiet
    focusPolicy: Qt.NoFocus
    text: row.hiddenLines === 1 ? qsTr("Show 1 more line") : qsTr("Show %1 more lines").arg(row.hiddenLines)
    onClicked: row.moreRequested()
}
