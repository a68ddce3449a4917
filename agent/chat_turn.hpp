#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "agent/ravant_message.hpp"
#include "core/turn_action.hpp"
#include "platform/json/json.hpp"

namespace ravant {

/// What a model answered to one request.
struct ChatTurn {
  std::string text;
  json::object reasoning;  ///< see agent/reasoning.hpp
  std::vector<RavantToolCall> toolCalls;
  std::optional<std::string> finishReason;
  std::optional<json::object> usage;
  std::optional<std::string> responseId;
};

/// What is told of a turn while it is followed, in order.
struct ChatTurnEvents {
  std::function<void()> onRequest = [] {};  ///< the model is asked, for the first time or again
  std::function<void(std::string_view fragment)> onText = [](std::string_view) {};
  std::function<void(std::string_view fragment)> onReasoning = [](std::string_view) {};
  std::function<void(turn::Retry)> onRetry = [](turn::Retry) {};
  std::function<void(std::string said)> onBreak = [](std::string) {};  ///< it breaks off, and its error is thrown next
};

}  // namespace ravant
