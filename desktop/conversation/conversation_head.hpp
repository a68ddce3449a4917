#pragma once

#include <QtQml/qqmlregistration.h>
#include <QObject>
#include <QTimer>
#include <optional>

#include "core/store/conversation_model_actor.hpp"
#include "desktop/loop/rereading.hpp"
#include "desktop/program/desktop_window.hpp"

namespace ravant::desktop {

/// What stands above a transcript, and what can be done with the conversation as a whole. Follows the store.
class ConversationHead : public QObject, public ViewModel {
  Q_OBJECT
  QML_ELEMENT
  /// Empty for none.
  Q_PROPERTY(QString conversation READ conversation WRITE setConversation NOTIFY conversationChanged)
  Q_PROPERTY(QString title READ title NOTIFY changed)
  /// Project, agent and state.
  Q_PROPERTY(QString line READ line NOTIFY changed)
  Q_PROPERTY(bool isRunning READ isRunning NOTIFY changed)

 public:
  explicit ConversationHead(QObject* parent = nullptr);

  QString conversation() const { return shown_ ? textOf(*shown_) : QString(); }
  void setConversation(const QString& conversation);
  const QString& title() const { return title_; }
  const QString& line() const { return line_; }
  bool isRunning() const { return summary_ && summary_->run.has_value(); }

  /// An empty one makes the title that of the first prompt.
  Q_INVOKABLE void rename(const QString& title);
  /// A notice leads back.
  Q_INVOKABLE void archive();
  Q_INVOKABLE void copyId() const;
  /// Sends the prompt of the failure once more, with what the composer has chosen; behind one that finished, the next
  /// that waits.
  Q_INVOKABLE void tryAgain(const QString& failure);
  /// Asks the agent to go on where it was interrupted.
  Q_INVOKABLE void goOn();

 Q_SIGNALS:
  void conversationChanged();
  void changed();

 private:
  awaitable<void> read();
  awaitable<void> sendAgain(ConversationId conversation, ConversationItemId failure);
  void tell();

  Application& application_;
  std::optional<ConversationId> shown_;
  std::optional<ConversationSummary> summary_;
  QString title_;
  QString line_;
  QTimer clock_;
  Rereading rereading_{*this, [this] { return read(); }};
};

}  // namespace ravant::desktop
