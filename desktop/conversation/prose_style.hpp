#pragma once

#include <QtQml/qqmlregistration.h>
#include <QObject>
#include <QString>

namespace ravant::desktop {

/// The sheet that stands in front of the HTML of rows, in the theme's colours and sizes.
class ProseStyle : public QObject {
  Q_OBJECT
  QML_ELEMENT
  Q_PROPERTY(QString sheet READ sheet NOTIFY changed)

 public:
  explicit ProseStyle(QObject* parent = nullptr);

  QString sheet() const;
  /// A paragraph as a page of its own; `level` is that of a heading, 0 for none. Of tables, the widths of cells are in
  /// characters.
  Q_INVOKABLE QString page(const QString& html, const QString& sheet, int level) const;
  /// Text that is shown as it is, in the font of the element, with the height of its lines.
  Q_INVOKABLE QString code(const QString& text) const;

 Q_SIGNALS:
  void changed();

 private:
  static QString withWidths(const QString& table);
};

}  // namespace ravant::desktop
