#pragma once

#include <QtQml/qqmlregistration.h>
#include <QObject>
#include <QQuickTextDocument>
#include <QSyntaxHighlighter>
#include <memory>

namespace ravant::desktop {

/// Marks what was found in the document of a text that is shown.
class TextPainter : public QObject {
  Q_OBJECT
  QML_ELEMENT
  Q_PROPERTY(QQuickTextDocument* document MEMBER document_ NOTIFY changed)
  /// Whatever its case.
  Q_PROPERTY(QString marked MEMBER marked_ NOTIFY changed)

 public:
  explicit TextPainter(QObject* parent = nullptr);
  ~TextPainter() override;

 Q_SIGNALS:
  void changed();

 private:
  class Highlighter;

  void paint();

  QQuickTextDocument* document_ = nullptr;
  QString marked_;
  std::unique_ptr<Highlighter> highlighter_;
};

}  // namespace ravant::desktop
