#include "desktop/theme/icon_provider.hpp"

#include <QImageReader>
#include <QPainter>

namespace ravant::desktop {
namespace {

constexpr QSize kGrid(16, 16);

}  // namespace

QImage IconProvider::requestImage(const QString& id, QSize* size, const QSize& requestedSize) {
  const QString name = id.section(u'/', 0, 0);
  const QColor color(id.section(u'/', 1));
  QImageReader reader(QStringLiteral(":/qt/qml/Ravant/Theme/icons/%1.svg").arg(name));
  reader.setScaledSize(requestedSize.isValid() ? requestedSize : kGrid);
  QImage drawn = reader.read();
  if (drawn.isNull()) {
    qWarning("there is no icon %s", qPrintable(name));
    return drawn;
  }
  drawn.convertTo(QImage::Format_ARGB32_Premultiplied);
  QPainter painter(&drawn);
  painter.setCompositionMode(QPainter::CompositionMode_SourceIn);
  painter.fillRect(drawn.rect(), color);
  if (size) *size = drawn.size();
  return drawn;
}

}  // namespace ravant::desktop
