#include <QQmlEngine>
#include <QtQml/qqmlextensionplugin.h>
#include <QtQuickTest>

#include "desktop/theme/icon_provider.hpp"
#include "desktop/theme/theme.hpp"

Q_IMPORT_QML_PLUGIN(Ravant_ThemePlugin)
Q_IMPORT_QML_PLUGIN(Ravant_ControlsPlugin)

namespace ravant::test {

class ControlsSetup : public QObject {
  Q_OBJECT

 public Q_SLOTS:
  void qmlEngineAvailable(QQmlEngine* engine) {
    engine->addImportPath(QStringLiteral("qrc:/qt/qml"));
    engine->addImageProvider(QStringLiteral("icon"), new desktop::IconProvider);
  }

 private:
  desktop::ColorScheme scheme_;
  desktop::Theme theme_{scheme_};
};

}  // namespace ravant::test

int main(int argc, char** argv) {
  qputenv("QT_QPA_PLATFORM", "offscreen");
  qputenv("QT_QUICK_BACKEND", "software");
  QTEST_SET_MAIN_SOURCE_PATH
  ravant::test::ControlsSetup setup;
  return quick_test_main_with_setup(argc, argv, "desktop_controls", RAVANT_QML_TESTS_DIR, &setup);
}

#include "main.moc"
