#pragma once

#include "platform/json/json.hpp"

namespace ravant {

/// The tools of the built-in agent as a model is told of them: what `RavantTools` executes.
class RavantAgentTools {
 public:
  /// Function definitions of the chat-completions protocol.
  static json::array definitions();
};

}  // namespace ravant
