#pragma once

#include <QtQml/qqmlregistration.h>
#include <QObject>
#include <QPointer>
#include <QQuickTextDocument>
#include <QSyntaxHighlighter>
#include <QVariant>
#include <memory>
#include <string>

#include "desktop/conversation/transcript_row.hpp"

namespace ravant::desktop {

/// Paints code, keeps what is code in prose from being drawn with ligatures, and marks what was found whatever its case
/// and accents, in the document of a text that is shown.
class TextPainter : public QObject {
  Q_OBJECT
  QML_ELEMENT
  Q_PROPERTY(QQuickTextDocument* document MEMBER document_ NOTIFY changed)
  /// A row's `paint`.
  Q_PROPERTY(QVariant code READ code WRITE setCode NOTIFY changed)
  /// Whether code stands in its prose.
  Q_PROPERTY(bool hasCode MEMBER hasCode_ NOTIFY changed)
  Q_PROPERTY(QString marked MEMBER marked_ NOTIFY changed)
  /// Which of what is marked stands out, counted from 1.
  Q_PROPERTY(int place MEMBER place_ NOTIFY changed)
  /// Where that begins in the document; -1 where there is none.
  Q_PROPERTY(int position READ position NOTIFY positionChanged)

 public:
  explicit TextPainter(QObject* parent = nullptr);
  ~TextPainter() override;

  QVariant code() const { return QVariant::fromValue(code_); }
  void setCode(const QVariant& code);
  int position() const { return position_; }

 Q_SIGNALS:
  void changed();
  void positionChanged();

 private:
  class Highlighter;

  void paint();
  void lookAgain();
  void lookForPlace();

  QQuickTextDocument* document_ = nullptr;
  bool hasCode_ = false;
  QString marked_;
  std::string folded_;
  int place_ = 0;
  int position_ = -1;
  QMetaObject::Connection growth_;
  std::shared_ptr<const CodePaint> code_;
  /// The document deletes it too.
  QPointer<QSyntaxHighlighter> highlighter_;
};

}  // namespace ravant::desktop
