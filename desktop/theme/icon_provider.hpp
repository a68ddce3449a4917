#pragma once

#include <QQuickImageProvider>

namespace ravant::desktop {

/// Draws `image://icon/NAME/COLOR`: the icon of that name in one colour, such as `search/#575e62`. The engine keeps
/// what was drawn.
class IconProvider final : public QQuickImageProvider {
 public:
  IconProvider() : QQuickImageProvider(QQuickImageProvider::Image) {}

  QImage requestImage(const QString& id, QSize* size, const QSize& requestedSize) override;
};

}  // namespace ravant::desktop
