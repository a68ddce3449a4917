#include "desktop/conversation/live_texts.hpp"

#include <ranges>

namespace ravant::desktop {
namespace {

/// Characters by which a stored message is told from another one.
constexpr std::size_t kTelling = 32;

bool isBeginningOf(const LiveRun& run, std::string_view message) {
  const GrowingText* const oldest = !run.complete.empty() ? &run.complete.front()
                                    : run.growing         ? &*run.growing
                                                          : nullptr;
  return oldest && message.starts_with(std::string_view(oldest->text).substr(0, kTelling));
}

}  // namespace

void LiveRun::cut() {
  isCut = isCut || growing;
  wasCut = wasCut || isCut;
  ++number;
  growing.reset();
  complete.clear();
  reasoning.clear();
}

LiveTexts::LiveTexts(StoreChanges& changes) {
  connect(&changes, &StoreChanges::committed, this, [this](const ChangeBatch& batch) {
    isIncomplete_ = batch.isIncomplete;
    if (!isIncomplete_) return;
    for (LiveRun& run : runs_ | std::views::values) run.cut();
  });
  connect(&changes, &StoreChanges::grew, this, &LiveTexts::add);
  connect(&changes, &StoreChanges::runChanged, this, &LiveTexts::setState);
  connect(&changes, &StoreChanges::itemChanged, this,
          [this](ConversationId conversation, ConversationItemId, ChangeOperation operation) {
            if (operation == ChangeOperation::inserted && shown_ != conversation) {
              replacedBy(conversation, ConversationItemKind::agentMessage);
            }
          });
}

const LiveRun* LiveTexts::find(ConversationId conversation) const {
  const auto run = runs_.find(conversation);
  return run == runs_.end() ? nullptr : &run->second;
}

std::optional<GrowingText> LiveTexts::replacedBy(ConversationId conversation, ConversationItemKind kind,
                                                 std::string_view text) {
  const auto found = runs_.find(conversation);
  if (found == runs_.end()) return {};
  LiveRun& run = found->second;
  ++run.number;
  run.reasoning.clear();
  if (kind != ConversationItemKind::agentMessage) return {};
  if (!run.growing) run.isCut = false;
  if (run.wasCut && !text.empty() && !isBeginningOf(run, text)) return {};
  if (run.complete.empty()) return std::exchange(run.growing, {});
  GrowingText replaced = std::move(run.complete.front());
  run.complete.pop_front();
  return replaced;
}

void LiveTexts::skip(ConversationId conversation) {
  const auto run = runs_.find(conversation);
  if (run == runs_.end()) return;
  run->second.cut();
  run->second.wasCut = true;
}

void LiveTexts::add(ConversationId conversation, const Growth& growth) {
  LiveRun& run = runs_[conversation];
  const bool isText = growth.kind != GrowthKind::reasoning;
  if (isText && (isIncomplete_ || (run.isCut && !growth.isNewMessage))) {
    run.isCut = run.wasCut = true;
    return;
  }
  if (isText) run.isCut = false;
  if (!isText) {
    if (growth.isNewMessage) run.reasoning.clear();
    run.reasoning += growth.text;
  } else {
    if (growth.isNewMessage && run.growing) run.complete.push_back(*std::exchange(run.growing, {}));
    if (!run.growing) run.growing = GrowingText{.key = "live" + std::to_string(++lastKey_), .text = {}};
    run.growing->text += growth.text;
  }
  Q_EMIT grew(conversation);
}

void LiveTexts::setShown(std::optional<ConversationId> conversation) {
  const LiveRun* const left = shown_ && shown_ != conversation ? find(*shown_) : nullptr;
  if (left && left->isOver) drop(*shown_);
  shown_ = conversation;
}

void LiveTexts::setState(ConversationId conversation, const std::optional<RunState>& state) {
  if (!state) {
    const auto run = runs_.find(conversation);
    if (shown_ != conversation) {
      drop(conversation);
    } else if (run != runs_.end()) {
      run->second.state.reset();
      run->second.isOver = true;
    }
    Q_EMIT ended(conversation);
    return;
  }
  LiveRun& run = runs_[conversation];
  run.state = state;
  run.isOver = false;
  Q_EMIT stateChanged(conversation);
}

}  // namespace ravant::desktop
