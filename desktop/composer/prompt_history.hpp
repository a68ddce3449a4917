#pragma once

#include <QObject>
#include <QString>
#include <optional>
#include <vector>

#include "app/application.hpp"
#include "desktop/loop/view_model.hpp"

namespace ravant::desktop {

/// The prompts of a conversation's transcript, walked from the latest one back. Read page by page, as far as the walk
/// goes.
class PromptHistory final : public QObject, public ViewModel {
  Q_OBJECT

 public:
  /// `application` outlives this.
  explicit PromptHistory(Application& application) : application_(application) {}

  void open(std::optional<ConversationId> conversation);
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
  awaitable<void> readEarlier();
  void show(std::size_t position);

  Application& application_;
  std::optional<ConversationId> conversation_;
  std::vector<QString> prompts_;  ///< as far as they are read, the latest first
  std::optional<ConversationItemId> earliest_;
  bool isComplete_ = false;
  bool isReading_ = false;
  std::size_t position_ = 0;  ///< of the current one, counted from 1; 0 before the walk
  std::optional<QString> current_;
  Turns turns_;
};

}  // namespace ravant::desktop
