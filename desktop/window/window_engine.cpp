#include "desktop/window/window_engine.hpp"

#include <QQuickWindow>

#include "desktop/theme/icon_provider.hpp"

namespace ravant::desktop {

WindowEngine::WindowEngine() {
  engine_.setNetworkAccessManagerFactory(&noNetwork_);
  engine_.addImageProvider(QStringLiteral("icon"), new IconProvider);
  engine_.addImportPath(QStringLiteral("qrc:/qt/qml"));
}

QQuickWindow* WindowEngine::load(const QString& file, const QVariantMap& properties) {
  engine_.setInitialProperties(properties);
  engine_.load(QUrl(QStringLiteral("qrc:/qt/qml/Ravant/Window/") + file));
  return engine_.rootObjects().isEmpty() ? nullptr : qobject_cast<QQuickWindow*>(engine_.rootObjects().first());
}

}  // namespace ravant::desktop
