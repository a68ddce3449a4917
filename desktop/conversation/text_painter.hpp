#pragma once

#include <QtQml/qqmlregistration.h>
#include <QObject>
#include <QPointer>
#include <QQuickTextDocument>
#include <QSyntaxHighlighter>
#include <QVariant>
#include <memory>

#include "desktop/conversation/transcript_row.hpp"

namespace ravant::desktop {

/// Paints code, and marks what was found, in the document of a text that is shown.
class TextPainter : public QObject {
  Q_OBJECT
  QML_ELEMENT
  Q_PROPERTY(QQuickTextDocument* document MEMBER document_ NOTIFY changed)
  /// A row's `paint`.
  Q_PROPERTY(QVariant code READ code WRITE setCode NOTIFY changed)
  /// Whatever its case.
  Q_PROPERTY(QString marked MEMBER marked_ NOTIFY changed)

 public:
  explicit TextPainter(QObject* parent = nullptr);
  ~TextPainter() override;

  QVariant code() const { return QVariant::fromValue(code_); }
  void setCode(const QVariant& code);

 Q_SIGNALS:
  void changed();

 private:
  class Highlighter;

  void paint();

  QQuickTextDocument* document_ = nullptr;
  QString marked_;
  std::shared_ptr<const CodePaint> code_;
  /// The document deletes it too.
  QPointer<QSyntaxHighlighter> highlighter_;
};

}  // namespace ravant::desktop
