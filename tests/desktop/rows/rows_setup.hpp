#pragma once

#include <QQmlEngine>
#include <optional>

#include "desktop/theme/icon_provider.hpp"
#include "desktop/theme/theme.hpp"
#include "tests/desktop/support/workbench.hpp"

namespace ravant::test {

/// What rows need of a program: one over an empty store, in the colours that APPEARANCE names.
class RowsSetup : public QObject {
  Q_OBJECT

 public Q_SLOTS:
  void applicationAvailable() {
    workbench_.emplace();
    theme_.emplace(scheme_);
    theme_->setAppearance(qgetenv("APPEARANCE") == "dark" ? desktop::Appearance::dark : desktop::Appearance::light);
  }
  void qmlEngineAvailable(QQmlEngine* engine) {
    engine->addImportPath(QStringLiteral("qrc:/qt/qml"));
    engine->addImageProvider(QStringLiteral("icon"), new desktop::IconProvider);
  }
  void cleanupTestCase() { workbench_.reset(); }

 private:
  std::optional<Workbench> workbench_;
  desktop::ColorScheme scheme_;
  std::optional<desktop::Theme> theme_;
};

}  // namespace ravant::test
