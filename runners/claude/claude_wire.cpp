#include "runners/claude/claude_wire.hpp"

#include <fmt/ranges.h>

#include "runners/agent_json.hpp"

namespace ravant::claude {
namespace {

constexpr std::string_view kUnknownSession = "No conversation found with session ID";
constexpr std::string_view kSyntheticModel = "<synthetic>";
constexpr std::string_view kErrors = "error_";      // before the name of a result that is none
constexpr std::string_view kLimits = "error_max_";  // of these, the ones that are limits

/// An empty id is none.
std::optional<std::string> sessionIdAt(const json::object& line) {
  for (const std::string_view key : {"session_id", "thread_id"}) {
    if (auto id = optionalTextAt(line, key); id && !id->empty()) return id;
  }
  return std::nullopt;
}

std::vector<AssistantBlock> assistantBlocks(const json::object& message) {
  std::vector<AssistantBlock> blocks;
  if (const auto text = stringAt(message, "content")) blocks.emplace_back(TextBlock{std::string(*text)});
  const json::array* content = arrayAt(message, "content");
  if (!content) return blocks;
  for (const json::value& value : *content) {
    const json::object* block = value.if_object();
    if (!block) continue;
    const auto type = stringAt(*block, "type");
    if (type == "text") {
      if (auto text = optionalTextAt(*block, "text")) blocks.emplace_back(TextBlock{std::move(*text)});
    } else if (type == "thinking") {
      if (auto text = optionalTextAt(*block, "thinking")) blocks.emplace_back(ThinkingBlock{std::move(*text)});
    } else if (type == "tool_use") {
      const json::value* input = block->if_contains("input");
      blocks.emplace_back(ToolUseBlock{
          .id = textAt(*block, "id"), .name = textAt(*block, "name"), .input = input ? compactJson(*input) : "{}"});
    }
  }
  return blocks;
}

AssistantLine parseAssistant(const json::object& line, const json::object& message,
                             std::optional<std::int64_t> contextWindow) {
  AssistantLine parsed{.messageId = textAt(message, "id"),
                       .model = optionalTextAt(message, "model"),
                       .blocks = assistantBlocks(message)};
  if (const json::object* usage = objectAt(message, "usage")) {
    parsed.usage = TokenUsageSnapshot::fromClaudeUsage(*usage, contextWindow);
  }
  parsed.isSynthetic = parsed.model == kSyntheticModel;
  parsed.isOfSubagent = stringAt(line, "parent_tool_use_id").has_value();
  return parsed;
}

UserLine parseUser(const json::object& message) {
  UserLine parsed;
  const json::array* content = arrayAt(message, "content");
  if (!content) return parsed;
  for (const json::value& value : *content) {
    const json::object* block = value.if_object();
    if (!block || stringAt(*block, "type") != "tool_result") continue;
    parsed.results.push_back({.toolUseId = textAt(*block, "tool_use_id"),
                              .text = contentText(block->if_contains("content")),
                              .isError = boolAt(*block, "is_error").value_or(false)});
  }
  return parsed;
}

std::string failureText(const json::object& line) {
  if (const auto text = stringAt(line, "result"); text && !text->empty()) return std::string(*text);
  std::vector<std::string_view> errors;
  if (const json::array* list = arrayAt(line, "errors")) {
    for (const json::value& error : *list) {
      if (const auto* text = error.if_string()) errors.emplace_back(*text);
    }
  }
  return errors.empty() ? textAt(line, "subtype") : fmt::format("{}", fmt::join(errors, "\n"));
}

RetryLine parseRetry(const json::object& line) {
  std::string error = textAt(line, "error");
  if (const auto status = readOptionalInt(line, {"error_status"})) {
    error += fmt::format("{}status {}", error.empty() ? "" : ", ", *status);
  }
  return {.reason = retryReason(std::move(error), line, "attempt", "max_retries"),
          .after = waitAt(line, "retry_delay_ms")};
}

ResultLine parseResult(const json::object& line) {
  const std::string_view subtype = stringAt(line, "subtype").value_or(std::string_view());
  ResultLine parsed{.isError = boolAt(line, "is_error").value_or(false) || subtype.starts_with(kErrors),
                    .isLimit = subtype.starts_with(kLimits),
                    .reply = textAt(line, "result"),
                    .contextWindow = TokenUsageSnapshot::claudeContextWindow(line.if_contains("modelUsage"))};
  if (const json::object* usage = objectAt(line, "usage")) {
    parsed.outputTokens = readOptionalInt(*usage, {"output_tokens"});
  }
  if (parsed.isError) parsed.failure = failureText(line);
  parsed.isUnknownSession = parsed.failure.contains(kUnknownSession);
  return parsed;
}

}  // namespace

std::optional<Line> parseLine(JsonLineParser& parser, std::string_view text,
                              std::optional<std::int64_t> contextWindow) {
  const json::object* line = asObject(parser.parse(text));
  if (!line) return std::nullopt;

  Line parsed{.sessionId = sessionIdAt(*line)};

  const std::string_view type = stringAt(*line, "type").value_or(std::string_view());
  const json::object* message = objectAt(*line, "message");
  if (type == "assistant" && message) {
    parsed.event = parseAssistant(*line, *message, contextWindow);
  } else if (type == "user" && message) {
    parsed.event = parseUser(*message);
  } else if (type == "result") {
    parsed.event = parseResult(*line);
  } else if (type == "system" && stringAt(*line, "subtype") == "api_retry") {
    parsed.event = parseRetry(*line);
  } else if (type == "system" && stringAt(*line, "subtype") == "compact_boundary") {
    // The second spelling is that of session files.
    const json::object* metadata = objectAt(*line, "compact_metadata");
    if (!metadata) metadata = objectAt(*line, "compactMetadata");
    parsed.event = CompactBoundaryLine{metadata ? optionalTextAt(*metadata, "trigger") : std::nullopt};
  }
  return parsed;
}

}  // namespace ravant::claude
