#pragma once

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
  std::string text;
};
struct ToolCallBlock {
  std::string id;
  std::string name;
  std::string arguments;  ///< a JSON object
};

struct AssistantMessage {
  std::optional<std::string> model;
  std::optional<std::string> responseId;
  std::vector<std::variant<TextBlock, ToolCallBlock>> blocks;
  std::optional<TokenUsageSnapshot> usage;
  std::optional<std::string> error;  ///< the message broke off with it
};

/// A text of the message that is being written grows.
struct TextDelta {
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
  std::int64_t attempt = 0;
  std::int64_t maxAttempts = 0;
};
struct RetryEnd {
  bool success = false;
  std::optional<std::string> finalError;
};

/// The agent is done, unless it tries again.
struct AgentEnd {
  bool willRetry = false;
};
/// Nothing more comes.
struct AgentSettled {};

using Event = std::variant<SessionLine, TextDelta, AssistantMessage, ToolResult, CompactionStart, RetryStart, RetryEnd,
                           AgentEnd, AgentSettled>;

/// Nothing for a line that is none of these.
std::optional<Event> parseLine(JsonLineParser& parser, std::string_view line);

}  // namespace ravant::pi
