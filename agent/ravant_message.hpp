#pragma once

#include <string>
#include <variant>
#include <vector>

#include "platform/json/json.hpp"

namespace ravant {

/// A tool call that a model asked for.
struct RavantToolCall {
  std::string id;
  std::string name;
  std::string argumentsJSON;  ///< as the model wrote it, which need not be JSON

  bool operator==(const RavantToolCall&) const = default;
};

namespace message {

struct User {
  std::string text;
  bool operator==(const User&) const = default;
};
/// What the model said in a turn, and the calls it asked for.
struct Assistant {
  std::string text;
  std::vector<RavantToolCall> toolCalls;
  json::object reasoning = {};  ///< as its provider sent it, see agent/reasoning.hpp
  std::string model = {};       ///< the slug of the one that reasoned so: no other is given it
  bool operator==(const Assistant&) const = default;
};
struct ToolResult {
  std::string callId;
  std::string name;
  std::string content;
  bool isError;
  bool operator==(const ToolResult&) const = default;
};

}  // namespace message

/// One message of a conversation, whatever the provider. In a list that providers accept, an assistant's message is
/// followed by the results of exactly its calls, in their order.
using RavantMessage = std::variant<message::User, message::Assistant, message::ToolResult>;

}  // namespace ravant
