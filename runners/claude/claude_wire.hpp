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

namespace ravant::claude {

/// One line of Claude Code's "stream-json" output, as far as a transcript needs it.
/// Source: the program's own output, 2.1.329; code.claude.com/docs/en/headless, "Stream responses".

struct TextBlock {
  std::string text;
  bool operator==(const TextBlock&) const = default;
};
struct ToolUseBlock {
  std::string id;
  std::string name;
  std::string input;  ///< a JSON object
  bool operator==(const ToolUseBlock&) const = default;
};
struct ThinkingBlock {
  std::string text;
  bool operator==(const ThinkingBlock&) const = default;
};
using AssistantBlock = std::variant<TextBlock, ToolUseBlock, ThinkingBlock>;

/// One content block of a reply, or several; lines of one reply share its id.
struct AssistantLine {
  std::string messageId;
  std::optional<std::string> model;
  std::vector<AssistantBlock> blocks;
  std::optional<TokenUsageSnapshot> usage;
  bool isSynthetic = false;  ///< the program's own words, such as about a request that failed, not a model's
  bool isOfSubagent = false;
};

struct ToolResult {
  std::string toolUseId;
  std::string text;
  bool isError = false;
  bool operator==(const ToolResult&) const = default;
};
struct UserLine {
  std::vector<ToolResult> results;
};

struct CompactBoundaryLine {
  std::optional<std::string> trigger;
};

/// A request to the model failed and is made again.
struct RetryLine {
  std::string reason;
  std::optional<std::chrono::milliseconds> after;
};

struct ResultLine {
  bool isError = false;
  bool isLimit = false;                       ///< of an error: the run reached a limit that it was given
  std::string reply;                          ///< the last reply, or the program's own words
  std::string failure;                        ///< why the run failed
  std::optional<std::int64_t> outputTokens;   ///< of the whole run
  std::optional<std::int64_t> contextWindow;  ///< tokens
  bool isUnknownSession = false;              ///< the failure says that there is no such session
};

struct Line {
  std::optional<std::string> sessionId;
  /// Nothing for a line that only carries the session.
  std::optional<std::variant<AssistantLine, UserLine, CompactBoundaryLine, RetryLine, ResultLine>> event;
};

/// Nothing for a line that is no JSON object. `contextWindow` is what usage is scaled to, in tokens.
std::optional<Line> parseLine(JsonLineParser& parser, std::string_view line, std::optional<std::int64_t> contextWindow);

}  // namespace ravant::claude
