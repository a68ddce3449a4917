#pragma once

#include <string_view>

namespace ravant {

/// Why a prompt ended.
enum class PromptEndReason { finished, failed, cancelled };

constexpr std::string_view rawValue(PromptEndReason reason) {
  switch (reason) {
    case PromptEndReason::finished:
      return "finished";
    case PromptEndReason::failed:
      return "failed";
    case PromptEndReason::cancelled:
      return "cancelled";
  }
  __builtin_unreachable();
}

}  // namespace ravant
