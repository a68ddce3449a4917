#pragma once

#include <QObject>
#include <QString>
#include <deque>
#include <optional>
#include <vector>

#include "app/application.hpp"
#include "core/store/draft_store.hpp"
#include "desktop/loop/view_model.hpp"

namespace ravant::desktop {

/// The prompts of a conversation's transcript, or of those of a project, walked from the latest one back. Read page by
/// page, as far as the walk goes.
class PromptHistory final : public QObject, public ViewModel {
  Q_OBJECT

 public:
  /// `application` outlives this.
  explicit PromptHistory(Application& application) : application_(application) {}

  void open(std::optional<DraftPlace> place);
  /// `reached` follows, where there is an earlier one.
  void goBack();
  /// `reached` with the one behind, or with nothing behind the latest.
  void goForward();
  /// The text that was reached last; nothing when the walk has not begun.
  const std::optional<QString>& current() const { return current_; }
  /// The next walk begins at the latest prompt.
  void end();

 Q_SIGNALS:
  void reached(const QString& text);

 private:
  awaitable<void> readEarlier(DraftPlace place, Turns::Turn turn);
  awaitable<std::deque<ConversationId>> conversations(DraftPlace place);
  void show(std::size_t position);

  Application& application_;
  std::optional<DraftPlace> place_;
  std::optional<std::deque<ConversationId>>
      unread_;                    ///< those that are left, the latest first; nothing before they are known
  std::vector<QString> prompts_;  ///< as far as they are read, the latest first
  std::optional<ConversationItemId> earliest_;
  bool isComplete_ = false;
  bool isReading_ = false;
  std::size_t position_ = 0;  ///< of the current one, counted from 1; 0 before the walk
  std::optional<QString> current_;
  Turns turns_;
};

}  // namespace ravant::desktop
