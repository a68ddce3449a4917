#pragma once

// The QML modules of the window, which are linked statically: included once by each program that shows it.
#include <QtQml/qqmlextensionplugin.h>

Q_IMPORT_QML_PLUGIN(Ravant_ProgramPlugin)
Q_IMPORT_QML_PLUGIN(Ravant_ThemePlugin)
Q_IMPORT_QML_PLUGIN(Ravant_ControlsPlugin)
Q_IMPORT_QML_PLUGIN(Ravant_SidebarPlugin)
Q_IMPORT_QML_PLUGIN(Ravant_ConversationPlugin)
Q_IMPORT_QML_PLUGIN(Ravant_ComposerPlugin)
Q_IMPORT_QML_PLUGIN(Ravant_PalettePlugin)
Q_IMPORT_QML_PLUGIN(Ravant_AttentionPlugin)
Q_IMPORT_QML_PLUGIN(Ravant_WindowPlugin)
