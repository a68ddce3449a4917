#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "core/token_usage_snapshot.hpp"
#include "platform/json/json.hpp"

namespace ravant::pi {

/// One line of Pi's JSON output, as far as a transcript needs it.
/// Source: the program's own output, 0.87.1 and 0.73.1.

struct SessionLine {
  std::string id;
};

struct TextBlock {
  std::int64_t place = 0;  ///< among all blocks of its message
  std::string text;
};
struct ToolCallBlock {
  std::string id;
  std::string name;
  std::string arguments;  ///< a JSON object
};

/// The agent's model begins to write a message.
struct MessageStart {
  std::optional<std::string> model;
};

struct AssistantMessage {
  /// Why a message is not whole.
  enum class Break { none, error, limit };

  std::optional<std::string> model;
  std::optional<std::string> responseId;
  std::vector<std::variant<TextBlock, ToolCallBlock>> blocks;
  std::optional<TokenUsageSnapshot> usage;
  Break brokenBy = Break::none;
  std::string failure;  ///< the words of the break
};

/// A text of the message that is being written grows, or what the model thinks before it.
struct TextDelta {
  enum class Kind { text, thinking };

  Kind kind = Kind::text;
  std::int64_t contentIndex = 0;
  std::string text;
};

struct ToolResult {
  std::string toolCallId;
  std::string text;
  bool isError = false;
};

struct CompactionStart {
  std::optional<std::string> reason;
};

/// The agent tries again after an error.
struct RetryStart {
  std::string reason;
  std::optional<std::chrono::milliseconds> after;
};
struct RetryEnd {
  bool success = false;
  std::optional<std::string> finalError;
};

/// The agent begins, or goes on after it was done.
struct AgentStart {};
/// The agent is done, unless it tries again.
struct AgentEnd {
  bool willRetry = false;
};
/// Nothing more comes.
struct AgentSettled {};

using Event = std::variant<SessionLine, MessageStart, TextDelta, AssistantMessage, ToolResult, CompactionStart,
                           RetryStart, RetryEnd, AgentStart, AgentEnd, AgentSettled>;

/// Nothing for an object that is none of these.
std::optional<Event> parseLine(const json::object& line);

}  // namespace ravant::pi
