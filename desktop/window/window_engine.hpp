#pragma once

#include <QQmlApplicationEngine>

#include "desktop/window/no_network.hpp"

class QQuickWindow;

namespace ravant::desktop {

/// Makes windows of their QML files: without a network, with the icons.
class WindowEngine {
 public:
  WindowEngine();

  /// A file of `desktop/window`, with the properties that it requires. Null where it cannot be shown. The window is
  /// gone with this.
  QQuickWindow* load(const QString& file, const QVariantMap& properties);

 private:
  NoNetwork noNetwork_;
  QQmlApplicationEngine engine_;
};

}  // namespace ravant::desktop
