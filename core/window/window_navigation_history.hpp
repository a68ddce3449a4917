#pragma once

#include <functional>
#include <optional>
#include <vector>

#include "core/window/window_selection.hpp"

namespace ravant {

/// The pairs of content and detail that a window has shown, without a limit, and which of them it shows now.
class WindowNavigationHistory {
 public:
  struct Snapshot {
    std::optional<ContentSelection> content;
    std::optional<DetailSelection> detail;

    bool isEmpty() const { return !content && !detail; }
    bool operator==(const Snapshot&) const = default;
  };

  /// Notes a new selection. One that differs from the present one ends the way forward.
  void record(std::optional<ContentSelection> content, std::optional<DetailSelection> detail);

  /// The snapshot to show; nothing, and no change, where there is no earlier one.
  std::optional<Snapshot> stepBack();
  /// Likewise, where there is no later one.
  std::optional<Snapshot> stepForward();

  /// Drops every snapshot before and behind the present one for which the predicate holds.
  void forget(const std::function<bool(const Snapshot&)>& where);

  /// Earlier selections, oldest first.
  const std::vector<Snapshot>& back() const { return back_; }
  /// Selections stepped back from, the most recently left last.
  const std::vector<Snapshot>& forward() const { return forward_; }
  const Snapshot& current() const { return current_; }

 private:
  std::optional<Snapshot> step(std::vector<Snapshot>& from, std::vector<Snapshot>& to);

  std::vector<Snapshot> back_;
  std::vector<Snapshot> forward_;
  Snapshot current_;
};

}  // namespace ravant
