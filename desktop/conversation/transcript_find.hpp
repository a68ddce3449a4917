#pragma once

#include <QtQml/qqmlregistration.h>
#include <QObject>
#include <optional>
#include <stop_token>

#include "core/store/search/transcript_finder.hpp"
#include "desktop/loop/view_model.hpp"
#include "desktop/program/desktop_window.hpp"

namespace ravant::desktop {

/// The search for words in the conversation that is shown.
class TranscriptFind : public QObject, public ViewModel {
  Q_OBJECT
  QML_ELEMENT
  Q_PROPERTY(QString conversation READ conversation WRITE setConversation NOTIFY conversationChanged)
  /// What is searched for; empty for nothing.
  Q_PROPERTY(QString text READ text WRITE setText NOTIFY textChanged)
  /// "3 of 12", "Nothing found".
  Q_PROPERTY(QString status READ status NOTIFY statusChanged)

 public:
  explicit TranscriptFind(QObject* parent = nullptr);
  ~TranscriptFind() override { stop_.request_stop(); }

  const QString& conversation() const { return conversation_; }
  void setConversation(const QString& conversation);
  const QString& text() const { return text_; }
  void setText(const QString& text);
  const QString& status() const { return status_; }

  /// `found` follows, where there is one.
  Q_INVOKABLE void next();
  Q_INVOKABLE void previous();

 Q_SIGNALS:
  void conversationChanged();
  void textChanged();
  void statusChanged();
  void found(const QString& item);

 private:
  void seek(FindDirection direction);
  awaitable<void> look(FindDirection direction, std::stop_token stop);
  void tell(const QString& status);

  QString conversation_;
  QString text_;
  QString status_;
  std::optional<ConversationItemId> at_;
  std::stop_source stop_;
  Turns turns_;
};

}  // namespace ravant::desktop
