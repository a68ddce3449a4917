#pragma once

#include <QtQml/qqmlregistration.h>
#include <QObject>
#include <QTimer>
#include <map>
#include <set>

#include "desktop/loop/rereading.hpp"
#include "desktop/program/desktop_window.hpp"

namespace ravant::desktop {

/// The end of a prompt that somebody may wait for.
struct RunEnd {
  enum class Kind { finished, failed };

  ConversationId conversation;
  ProjectId project;
  Kind kind;
  QString title;  ///< the conversation's
  QString words;  ///< "Claude Code finished, 3 files changed"

  bool operator==(const RunEnd&) const = default;
};

/// Tells of each prompt that finished or failed since the program began, once, whichever process ran it, and of a queue
/// that could not go on. A prompt that was cancelled or interrupted is nothing to tell; one that a limit ended failed.
class RunEnds : public QObject, public ViewModel {
  Q_OBJECT
  QML_ELEMENT
  /// The latest end, for a screen reader; empty after a while.
  Q_PROPERTY(QString spoken READ spoken NOTIFY spokenChanged)

 public:
  explicit RunEnds(QObject* parent = nullptr) : RunEnds(DesktopWindow::instance(), parent) {}
  RunEnds(DesktopWindow& window, QObject* parent);

  const QString& spoken() const { return spoken_; }

 Q_SIGNALS:
  void ended(const ravant::desktop::RunEnd& end);
  void spokenChanged();

 private:
  awaitable<void> findRunning();
  Rereading& looksAt(ConversationId conversation);
  awaitable<void> look(ConversationId conversation);
  /// Once, and only where it has ended since this is there, or was seen to run.
  void tellEndOf(const ConversationItem& prompt, const ConversationSummary& summary, bool wasRunning);
  /// The same for a failure that came after the prompt's end, as of a queue that could not go on. False for any other.
  bool tellFailureBehind(const ConversationItem& prompt, const ConversationItem& failure,
                         const ConversationSummary& summary);
  awaitable<void> tellFinished(ConversationItem prompt, ConversationSummary summary);
  /// Says which files the prompt's calls changed, as far as they tell it and the prompt is not too long to be read.
  awaitable<QString> changesBehind(ConversationItem prompt);
  void tell(const ConversationSummary& summary, RunEnd::Kind kind, const QString& changes);
  void speak(const QString& words);

  DesktopWindow& window_;
  Timestamp begunAt_;
  std::map<ConversationId, Rereading> looks_;
  std::set<ConversationId> running_;
  std::map<ConversationId, ConversationItemId> prompts_;  ///< the last one that was seen
  std::map<ConversationId, ConversationItemId> told_;     ///< the prompt or failure that was told last
  QString spoken_;
  QTimer silence_;
};

}  // namespace ravant::desktop
