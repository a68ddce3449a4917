#include <QtQml/qqmlextensionplugin.h>
#include <QtQuickTest>

#include "tests/desktop/controls/controls_setup.hpp"

Q_IMPORT_QML_PLUGIN(Ravant_ThemePlugin)
Q_IMPORT_QML_PLUGIN(Ravant_ControlsPlugin)

int main(int argc, char** argv) {
  qputenv("QT_QPA_PLATFORM", "offscreen");
  qputenv("QT_QUICK_BACKEND", "software");
  QTEST_SET_MAIN_SOURCE_PATH
  ravant::test::ControlsSetup setup;
  return quick_test_main_with_setup(argc, argv, "desktop_controls", RAVANT_QML_TESTS_DIR, &setup);
}
