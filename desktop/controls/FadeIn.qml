import QtQuick
import Ravant.Theme

/// How what floats comes: at once where the desktop asks for reduced motion.
Transition {
    NumberAnimation { property: "opacity"; from: 0; to: 1; duration: Theme.motion }
}
