#pragma once

#include <QQmlEngine>

#include "desktop/theme/icon_provider.hpp"
#include "desktop/theme/theme.hpp"

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
