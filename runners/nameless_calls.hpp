#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/text/uuid.hpp"

namespace ravant {

/// The calls of tools that an agent gave no id, under ids of their own.
class NamelessCalls {
 public:
  std::string begin() { return open_.emplace_back(Uuid::random().text()); }

  /// The call that a result without an id ends: the only one that is open. Nothing where nobody can tell which.
  std::optional<std::string> end() {
    if (open_.size() != 1) return std::nullopt;
    return std::exchange(open_, {}).front();
  }

 private:
  std::vector<std::string> open_;
};

}  // namespace ravant
