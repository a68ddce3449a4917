import QtQml

/// Tells the user about conversations that are not looked at.
QtObject {
}
