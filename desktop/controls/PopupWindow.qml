import QtQuick.Templates as T

/// A window over which panels, menus and questions can open: the focus comes back to where it was when they close.
T.ApplicationWindow {
}
