import QtQuick

/// Of a list that floats: says which row the pointer has moved to. A list that opens or scrolls under a pointer at rest
/// is not pointed at. Declared within the list, whose content it then watches.
HoverHandler {
    id: handler

    required property ListView list
    property bool isInside: false
    property point last

    signal pointed(int row)

    /// Whether the pointer has moved to `place` within the list.
    function hasMoved(place: point): bool {
        const moved = isInside && place !== last
        isInside = hovered
        last = place
        return moved
    }

    onHoveredChanged: if (!hovered) isInside = false
    onPointChanged: if (hasMoved(point.scenePosition)) pointed(list.indexAt(point.position.x, point.position.y))
}
