#include "agent/answer_announcements.hpp"

#include <algorithm>
#include <utility>

#include "core/overloaded.hpp"

namespace ravant {

ChatTurnEvents AnswerAnnouncements::events() {
  return {.onRequest = [this] { add(RunState::Kind::thinking); },
          .onText = [this](std::string_view fragment) { grow(GrowthKind::message, fragment); },
          .onReasoning = [this](std::string_view fragment) { grow(GrowthKind::reasoning, fragment); },
          .onRetry = [this](turn::Retry retry) { add(std::move(retry)); }};
}

void AnswerAnnouncements::end() {
  std::erase_if(waiting_, [](const Announcement& announcement) {
    const auto* growth = std::get_if<turn::Grow>(&announcement);
    return growth == nullptr || growth->kind != GrowthKind::reasoning;
  });
  state_ = State::ended;
  changed_.notify();
}

awaitable<void> AnswerAnnouncements::announce() {
  while (state_ == State::open || !waiting_.empty()) {
    if (waiting_.empty()) {
      co_await changed_.wait();
      continue;
    }
    Announcement next = std::move(waiting_.front());
    waiting_.erase(waiting_.begin());
    if (const auto* state = std::get_if<RunState::Kind>(&next)) {
      co_await writer_.announce(*state);
      continue;
    }
    std::vector<turn::Action> actions;
    std::visit(Overloaded{[](RunState::Kind) {}, [&](auto& action) { actions.emplace_back(std::move(action)); }}, next);
    co_await writer_.perform(std::move(actions));
  }
}

void AnswerAnnouncements::grow(GrowthKind kind, std::string_view fragment) {
  auto* last = waiting_.empty() ? nullptr : std::get_if<turn::Grow>(&waiting_.back());
  if (last != nullptr && last->kind == kind) {
    last->text += fragment;
    return;
  }
  const bool isFirst = std::ranges::count(begun_, kind) == 0;
  if (isFirst) begun_.push_back(kind);
  add(turn::Grow{.text = std::string(fragment), .isNewMessage = isFirst, .kind = kind});
}

void AnswerAnnouncements::add(Announcement announcement) {
  waiting_.push_back(std::move(announcement));
  changed_.notify();
}

}  // namespace ravant
