import QtQuick
import QtQuick.Templates as T
import Ravant.Theme

/// A question over the whole window, with its buttons as content, from the right: the first one has the keyboard each
/// time it is asked. Esc answers no.
T.Dialog {
    id: question

    required property string words
    property string explanation
    default property alias buttons: row.data

    title: words
    anchors.centerIn: T.Overlay.overlay
    modal: true
    focus: true
    width: Math.min(Theme.unit * 120, T.Overlay.overlay.width - Theme.unit * 8)
    implicitHeight: contentHeight + topPadding + bottomPadding
    padding: Theme.unit * 5
    closePolicy: T.Popup.CloseOnEscape
    onAboutToShow: row.children[0].focus = true
    enter: FadeIn {}
    background: Rectangle { color: Theme.raised; radius: Theme.floatingRadius; border { width: 1; color: Theme.line } }
    T.Overlay.modal: Rectangle { color: Theme.isDark ? "#80000000" : "#40000000" }

    contentItem: Column {
        spacing: Theme.unit * 3
        PlainLabel { width: parent.width; wrapMode: Text.Wrap; text: question.words; font.weight: Font.DemiBold }
        PlainLabel {
            width: parent.width
            visible: text !== ""
            wrapMode: Text.Wrap
            text: question.explanation
            color: Theme.dim
        }
        Flow {
            id: row

            width: parent.width
            layoutDirection: Qt.RightToLeft
            spacing: Theme.unit * 2
            topPadding: Theme.unit * 2
        }
    }
}
