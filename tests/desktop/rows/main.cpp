#include <QtQml/qqmlextensionplugin.h>
#include <QtQuickTest>

#include "tests/desktop/rows/rows_setup.hpp"

Q_IMPORT_QML_PLUGIN(Ravant_ThemePlugin)
Q_IMPORT_QML_PLUGIN(Ravant_ControlsPlugin)
Q_IMPORT_QML_PLUGIN(Ravant_ProgramPlugin)
Q_IMPORT_QML_PLUGIN(Ravant_ConversationPlugin)

int main(int argc, char** argv) {
  qputenv("QT_QPA_PLATFORM", "offscreen");
  qputenv("QT_QUICK_BACKEND", "software");
  QTEST_SET_MAIN_SOURCE_PATH
  ravant::test::RowsSetup setup;
  return quick_test_main_with_setup(argc, argv, "desktop_rows", RAVANT_QML_TESTS_DIR, &setup);
}
