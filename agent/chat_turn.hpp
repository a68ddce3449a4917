#pragma once

#include <optional>
#include <string>
#include <vector>

#include "agent/ravant_message.hpp"
#include "platform/json/json.hpp"

namespace ravant {

/// What a model answered to one request.
struct ChatTurn {
  std::string text;
  std::vector<RavantToolCall> toolCalls;
  std::optional<std::string> finishReason;
  std::optional<json::object> usage;
  std::optional<std::string> responseId;
};

}  // namespace ravant
