import QtQuick
import Ravant.Theme

/// What goes with a prompt beside its words.
Flow {
    id: chips

    required property list<string> attachments
    /// Empty where there is none.
    required property string longText

    signal detached(int index)
    signal longTextShown
    signal longTextRemoved

    visible: repeater.count > 0 || longText !== ""
    spacing: Theme.unit
    Accessible.role: Accessible.List
    Accessible.name: qsTr("Attachments")

    AttachmentChip {
        visible: chips.longText !== ""
        words: chips.longText
        room: chips.width
        offer: qsTr("Show")
        onAccepted: chips.longTextShown()
        onRemoved: chips.longTextRemoved()
    }
    Repeater {
        id: repeater

        model: chips.attachments

        AttachmentChip {
            required property int index
            required property string modelData

            words: modelData
            room: chips.width
            onRemoved: chips.detached(index)
        }
    }
}
