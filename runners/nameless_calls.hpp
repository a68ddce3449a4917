#pragma once

#include <fmt/format.h>

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace ravant {

/// The calls of tools that an agent gave no id, under ids of their own.
class NamelessCalls {
 public:
  std::string begin() { return open_.emplace_back(fmt::format("nameless-{}", ++count_)); }

  /// The call that a result without an id ends: the only one that is open. Nothing where nobody can tell which.
  std::optional<std::string> end() {
    if (open_.size() != 1) return std::nullopt;
    return std::exchange(open_, {}).front();
  }

 private:
  std::vector<std::string> open_;
  int count_ = 0;
};

}  // namespace ravant
