import QtQuick
import Ravant.Theme

/// Stands where a text of a row still grows.
Loader {
    id: caret

    required property RowText words

    active: words.row.isGrowing
    sourceComponent: Rectangle {
        readonly property rect end: caret.words.positionToRectangle(caret.words.length)

        x: caret.words.x + (caret.words.length > 0 ? end.x : 0) + 2
        y: caret.words.y + end.y + 3
        width: Theme.unit
        height: Theme.proseSize + 2
        color: Theme.accent
    }
}
