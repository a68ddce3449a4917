#include "runners/pi/pi_wire.hpp"

#include "runners/agent_json.hpp"

namespace ravant::pi {
namespace {

/// An id that is a text or a number.
std::string idAt(const json::object& object, std::string_view key) {
  const json::value* id = object.if_contains(key);
  if (!id || id->is_null()) return {};
  const auto* text = id->if_string();
  return text ? std::string(*text) : compactJson(*id);
}

AssistantMessage parseAssistant(const json::object& message) {
  AssistantMessage parsed{.model = optionalTextAt(message, "model"),
                          .responseId = optionalTextAt(message, "responseId")};
  if (const json::array* content = arrayAt(message, "content")) {
    for (std::size_t i = 0; i < content->size(); ++i) {
      const json::object* block = (*content)[i].if_object();
      if (!block) continue;
      const auto type = stringAt(*block, "type");
      if (type == "text") {
        parsed.blocks.emplace_back(TextBlock{.place = static_cast<std::int64_t>(i), .text = textAt(*block, "text")});
      } else if (type == "toolCall") {
        const json::value* arguments = block->if_contains("arguments");
        parsed.blocks.emplace_back(ToolCallBlock{.id = idAt(*block, "id"),
                                                 .name = textAt(*block, "name"),
                                                 .arguments = arguments ? compactJson(*arguments) : "{}"});
      }
    }
  }
  if (const json::object* usage = objectAt(message, "usage")) parsed.usage = TokenUsageSnapshot::fromPiUsage(*usage);
  const auto stopReason = stringAt(message, "stopReason");
  if (stopReason == "error") {
    parsed.brokenBy = AssistantMessage::Break::error;
    parsed.failure = optionalTextAt(message, "errorMessage").value_or("the model's reply ended with an error");
  } else if (stopReason == "length") {
    parsed.brokenBy = AssistantMessage::Break::limit;
    parsed.failure = "the agent stopped: the model's limit of tokens was reached (length)";
  }
  return parsed;
}

std::optional<Event> parseMessageStart(const json::object& line) {
  const json::object* message = objectAt(line, "message");
  if (!message || stringAt(*message, "role") != "assistant") return std::nullopt;
  return MessageStart{optionalTextAt(*message, "model")};
}

std::optional<Event> parseMessageEnd(const json::object& line) {
  const json::object* message = objectAt(line, "message");
  if (!message) return std::nullopt;
  const auto role = stringAt(*message, "role");
  if (role == "assistant") return parseAssistant(*message);
  if (role != "toolResult") return std::nullopt;
  return ToolResult{.toolCallId = idAt(*message, "toolCallId"),
                    .text = contentText(message->if_contains("content")),
                    .isError = boolAt(*message, "isError").value_or(false)};
}

std::optional<Event> parseMessageUpdate(const json::object& line) {
  const json::object* event = objectAt(line, "assistantMessageEvent");
  if (!event) return std::nullopt;
  const auto type = stringAt(*event, "type");
  if (type != "text_delta" && type != "thinking_delta") return std::nullopt;
  return TextDelta{.kind = type == "text_delta" ? TextDelta::Kind::text : TextDelta::Kind::thinking,
                   .contentIndex = readInt(*event, {"contentIndex"}, 0),
                   .text = textAt(*event, "delta")};
}

RetryStart parseRetryStart(const json::object& line) {
  return {.reason = retryReason(textAt(line, "errorMessage"), line, "attempt", "maxAttempts"),
          .after = waitAt(line, "delayMs")};
}

ToolResult parseToolEnd(const json::object& line) {
  const json::object* result = objectAt(line, "result");
  return {.toolCallId = idAt(line, "toolCallId"),
          .text = contentText(result ? result->if_contains("content") : line.if_contains("result")),
          .isError = boolAt(line, "isError").value_or(false)};
}

}  // namespace

std::optional<Event> parseLine(const json::object& line) {
  const std::string_view type = stringAt(line, "type").value_or(std::string_view());
  if (type == "session") return SessionLine{textAt(line, "id")};
  if (type == "message_start") return parseMessageStart(line);
  if (type == "message_update") return parseMessageUpdate(line);
  // The second spelling is that of session files.
  if (type == "message_end" || type == "message") return parseMessageEnd(line);
  if (type == "compaction") return CompactionStart{};
  if (type == "tool_execution_end") return parseToolEnd(line);
  if (type == "compaction_start") return CompactionStart{optionalTextAt(line, "reason")};
  if (type == "auto_retry_start") return parseRetryStart(line);
  if (type == "auto_retry_end") {
    return RetryEnd{.success = boolAt(line, "success").value_or(false),
                    .finalError = optionalTextAt(line, "finalError")};
  }
  if (type == "agent_start") return AgentStart{};
  if (type == "agent_end") return AgentEnd{boolAt(line, "willRetry").value_or(false)};
  if (type == "agent_settled") return AgentSettled{};
  return std::nullopt;
}

}  // namespace ravant::pi
