#include "core/window/window_navigation_history.hpp"

#include <utility>

#include "platform/log/log.hpp"

namespace ravant {
namespace {

constexpr Log kLog("com.ravant.core", "WindowNavigationHistory");

}  // namespace

void WindowNavigationHistory::record(std::optional<ContentSelection> content, std::optional<DetailSelection> detail) {
  kLog.debug("record(content:detail:)");
  Snapshot next{.content = std::move(content), .detail = std::move(detail)};
  if (next == current_) return;
  if (!current_.isEmpty()) back_.push_back(std::move(current_));
  forward_.clear();
  current_ = std::move(next);
}

std::optional<WindowNavigationHistory::Snapshot> WindowNavigationHistory::stepBack() {
  kLog.debug("stepBack()");
  return step(back_, forward_);
}

std::optional<WindowNavigationHistory::Snapshot> WindowNavigationHistory::stepForward() {
  kLog.debug("stepForward()");
  return step(forward_, back_);
}

void WindowNavigationHistory::forget(const std::function<bool(const Snapshot&)>& where) {
  kLog.debug("forget(where:)");
  std::erase_if(back_, where);
  std::erase_if(forward_, where);
}

std::optional<WindowNavigationHistory::Snapshot> WindowNavigationHistory::step(std::vector<Snapshot>& from,
                                                                               std::vector<Snapshot>& to) {
  if (from.empty()) return std::nullopt;
  if (!current_.isEmpty()) to.push_back(std::move(current_));
  current_ = std::move(from.back());
  from.pop_back();
  return current_;
}

}  // namespace ravant
