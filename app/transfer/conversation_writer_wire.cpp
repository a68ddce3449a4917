#include <fmt/format.h>

#include <boost/json/serialize.hpp>

#include "app/transfer/conversation_wire.hpp"
#include "platform/json/json.hpp"
#include "platform/text/text.hpp"
#include "platform/text/utf8.hpp"

namespace ravant::conversation_wire {
namespace {

/// Writes an object's members one after another, so that a large text stands in memory once.
class ObjectWriter {
 public:
  void text(std::string_view key, std::string_view text) {
    begin(key);
    if (isValidUtf8(text)) {
      json_ += terminalSafeJson(json::serialize(text));
    } else {
      json_ += fmt::format(R"({{"{}":"{}"}})", kBytes, base64(text));
    }
  }
  void text(std::string_view key, const std::optional<std::string>& value) {
    if (value) text(key, std::string_view(*value));
  }
  void number(std::string_view key, const std::optional<std::int64_t>& value) {
    if (value) plain(key, std::to_string(*value));
  }
  void time(std::string_view key, const std::optional<Timestamp>& value) {
    if (value) text(key, std::string_view(iso8601(*value)));
  }
  /// A value that is JSON already.
  void plain(std::string_view key, std::string_view value) {
    begin(key);
    json_ += value;
  }
  /// The values that `write(element)` gives.
  template <class Elements, class Write>
  void array(std::string_view key, const Elements& elements, Write write) {
    begin(key);
    json_ += '[';
    for (const auto& element : elements) {
      if (!json_.ends_with('[')) json_ += ',';
      json_ += write(element);
    }
    json_ += ']';
  }
  std::string end() && {
    json_ += '}';
    return std::move(json_);
  }

 private:
  void begin(std::string_view key) {
    if (json_.size() > 1) json_ += ',';
    json_.append("\"").append(key).append("\":");
  }

  std::string json_ = "{";
};

std::string blockText(const MessageBlock& block) {
  ObjectWriter object;
  object.number("index", block.index);
  object.text("kind", rawValue(block.kind));
  object.text("language", block.language);
  object.text("text", std::string_view(block.text));
  return std::move(object).end();
}

std::string invocationText(const ToolInvocation& call) {
  ObjectWriter object;
  object.text("toolName", std::string_view(call.toolName));
  object.text("toolCallId", std::string_view(call.toolCallId));
  object.text("input", call.input);
  object.text("output", call.output);
  object.text("status", rawValue(call.status));
  object.time("createdAt", call.createdAt);
  object.time("completedAt", call.completedAt);
  object.text("text", std::string_view(call.text));
  object.text("rawJSON", std::string_view(call.rawJSON));
  return std::move(object).end();
}

}  // namespace

std::string projectText(const ExportedConversation& exported) {
  ObjectWriter object;
  object.text("path", std::string_view(exported.projectPath));
  object.text("name", std::string_view(exported.projectName));
  return std::move(object).end();
}

std::string conversationText(const ExportedConversation& exported) {
  const Conversation& conversation = exported.conversation;
  ObjectWriter object;
  object.text("id", std::string_view(conversation.id.text()));
  if (exported.agentType) object.text("agentType", rawValue(*exported.agentType));
  object.text("agentResumedSessionId", conversation.agentResumedSessionId);
  object.text("lastUsedModel", conversation.lastUsedModel);
  object.text("lastUsedEffortRawValue", conversation.lastUsedEffortRawValue);
  object.time("createdAt", conversation.createdAt);
  object.time("lastActivityAt", conversation.lastActivityAt);
  object.time("lastPromptAt", conversation.lastPromptAt);
  object.plain("archived", conversation.archived ? "true" : "false");
  object.number("lastUsedTokens", conversation.lastUsedTokens);
  object.number("lastTotalProcessedTokens", conversation.lastTotalProcessedTokens);
  object.number("lastInputTokens", conversation.lastInputTokens);
  object.number("lastOutputTokens", conversation.lastOutputTokens);
  object.number("lastCacheReadTokens", conversation.lastCacheReadTokens);
  object.number("lastCacheCreationTokens", conversation.lastCacheCreationTokens);
  object.time("lastUsageUpdatedAt", conversation.lastUsageUpdatedAt);
  object.number("lastMaxTokens", conversation.lastMaxTokens);
  object.text("title", conversation.title);
  if (const auto& item = conversation.workItem) {
    ObjectWriter workItem;
    workItem.text("kind", rawValue(item->kind));
    workItem.text("name", std::string_view(item->name));
    workItem.text("url", std::string_view(item->url));
    object.plain("workItem", std::move(workItem).end());
  }
  return std::move(object).end();
}

std::string itemText(const ConversationItem& item) {
  ObjectWriter object;
  object.text("kind", rawValue(kindOf(item)));
  object.time("createdAt", item.createdAt);
  object.text("text", std::string_view(item.text));
  object.text("rawJSON", std::string_view(item.rawJSON));
  if (const auto* prompt = std::get_if<UserMessage>(&item.detail)) {
    if (prompt->endReason) object.text("endReason", rawValue(*prompt->endReason));
    object.time("endedAt", prompt->endedAt);
  } else if (const auto* message = std::get_if<AgentMessage>(&item.detail)) {
    object.text("agentModel", message->agentModel);
    object.text("providerMessageId", message->providerMessageId);
    object.number("inputTokens", message->inputTokens);
    object.number("outputTokens", message->outputTokens);
    object.number("cacheReadTokens", message->cacheReadTokens);
    object.number("cacheCreationTokens", message->cacheCreationTokens);
    object.number("usedTokens", message->usedTokens);
    object.number("totalProcessedTokens", message->totalProcessedTokens);
    object.array("blocks", message->blocks, blockText);
  } else if (const auto* group = std::get_if<ToolInvocationGroup>(&item.detail)) {
    object.array("invocations", group->invocations, invocationText);
  }
  return std::move(object).end();
}

}  // namespace ravant::conversation_wire
