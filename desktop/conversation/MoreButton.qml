import QtQuick
import Ravant.Controls
import Ravant.Theme

/// Shows what a long text still hides.
PushButton {
    required property RowItem row

    visible: row.hiddenLines > 0
    height: visible ? implicitHeight : 0
    weight: PushButton.Quiet
    focusPolicy: Qt.NoFocus
    text: qsTr("Show %n more line(s)", "", row.hiddenLines)
    onClicked: row.rows.showMore(row.index)
}
