#include "app/transfer/conversation_wire.hpp"

#include <fmt/format.h>

#include <tuple>

#include "core/agent_session_id.hpp"
#include "platform/json/json.hpp"
#include "platform/text/text.hpp"
#include "platform/text/utf8.hpp"

namespace ravant::conversation_wire {
namespace {

/// Takes an object's members, and says which one is wrong.
class ObjectReader {
 public:
  ObjectReader(const json::value& value, std::string_view what) {
    const json::object* object = asObject(&value);
    if (!object) throw Fault(fmt::format("{} is no object", what));
    object_ = object;
  }

  std::string text(std::string_view key) const { return required(optionalText(key), key); }
  std::optional<std::string> optionalText(std::string_view key) const {
    const json::value* value = object_->if_contains(key);
    if (!value) return std::nullopt;
    if (const auto* text = value->if_string()) return std::string(*text);
    const json::object* bytes = asObject(value);
    const auto encoded = bytes && bytes->size() == 1 ? stringAt(*bytes, kBytes) : std::nullopt;
    auto decoded = encoded.and_then(bytesOfBase64);
    return decoded ? std::move(decoded) : throw wrong(key);
  }
  std::int64_t number(std::string_view key) const { return required(optionalNumber(key), key); }
  std::optional<std::int64_t> optionalNumber(std::string_view key) const {
    const json::value* value = object_->if_contains(key);
    if (!value) return std::nullopt;
    const auto number = exactInteger(*value);
    return number ? number : throw wrong(key);
  }
  Timestamp time(std::string_view key) const { return required(optionalTime(key), key); }
  std::optional<Timestamp> optionalTime(std::string_view key) const {
    const auto text = optionalText(key);
    const auto time = text.and_then(parseIso8601);
    if (text && !time) throw wrong(key);
    return time;
  }
  /// A text that `read` knows.
  template <class Read>
  auto word(std::string_view key, Read read) const {
    return required(optionalWord(key, read), key);
  }
  template <class Read>
  auto optionalWord(std::string_view key, Read read) const -> decltype(read(std::string_view())) {
    const auto text = optionalText(key);
    if (!text) return std::nullopt;
    const auto value = read(std::string_view(*text));
    return value ? value : throw wrong(key);
  }
  bool boolean(std::string_view key) const { return required(boolAt(*object_, key), key); }
  const json::value* member(std::string_view key) const { return object_->if_contains(key); }
  const json::array& array(std::string_view key) const {
    const json::array* found = arrayAt(*object_, key);
    return found ? *found : throw wrong(key);
  }

 private:
  template <class Value>
  static Value required(std::optional<Value> value, std::string_view key) {
    return value ? *std::move(value) : throw wrong(key);
  }
  static Fault wrong(std::string_view key) {
    return Fault(fmt::format("\"{}\" is missing or not as it should be", key));
  }

  const json::object* object_;
};

json::value parsed(std::string_view text) {
  if (auto value = parseJson(text)) return *std::move(value);
  const auto fault = findJsonFault(text);
  throw Fault(fmt::format("this is no JSON ({})", fault ? fault->words : "unknown"));
}

WorkItem readWorkItem(const json::value& value) {
  const ObjectReader object(value, "\"workItem\"");
  return {
      .kind = object.word("kind", workItemKindFromRawValue), .name = object.text("name"), .url = object.text("url")};
}

std::vector<MessageBlock> readBlocks(const json::array& values) {
  std::vector<MessageBlock> blocks;
  for (const json::value& value : values) {
    const ObjectReader object(value, "a block");
    blocks.push_back({.text = object.text("text"),
                      .language = object.optionalText("language"),
                      .index = object.number("index"),
                      .kind = object.word("kind", messageBlockKindFromRawValue)});
    if (blocks.size() > 1 && blocks.back().index <= blocks[blocks.size() - 2].index) {
      throw Fault("the blocks are not in the order of their index");
    }
  }
  return blocks;
}

std::vector<ToolInvocation> readInvocations(const json::array& values) {
  std::vector<ToolInvocation> invocations;
  for (const json::value& value : values) {
    const ObjectReader object(value, "a tool call");
    invocations.push_back({.id = {},
                           .rawJSON = object.text("rawJSON"),
                           .text = object.text("text"),
                           .createdAt = object.time("createdAt"),
                           .toolName = object.text("toolName"),
                           .toolCallId = object.text("toolCallId"),
                           .input = object.optionalText("input"),
                           .output = object.optionalText("output"),
                           .status = object.word("status", toolInvocationStatusFromRawValue),
                           .completedAt = object.optionalTime("completedAt"),
                           .parentGroup = {}});
  }
  return invocations;
}

ConversationItem::Detail readDetail(const ObjectReader& object) {
  switch (object.word("kind", conversationItemKindFromRawValue)) {
    case ConversationItemKind::userMessage:
      return UserMessage{.endReason = object.optionalWord("endReason", promptOutcomeFromRawValue),
                         .endedAt = object.optionalTime("endedAt")};
    case ConversationItemKind::agentMessage:
      return AgentMessage{.agentModel = object.optionalText("agentModel"),
                          .providerMessageId = object.optionalText("providerMessageId"),
                          .inputTokens = object.optionalNumber("inputTokens"),
                          .outputTokens = object.optionalNumber("outputTokens"),
                          .cacheReadTokens = object.optionalNumber("cacheReadTokens"),
                          .cacheCreationTokens = object.optionalNumber("cacheCreationTokens"),
                          .usedTokens = object.optionalNumber("usedTokens"),
                          .totalProcessedTokens = object.optionalNumber("totalProcessedTokens"),
                          .blocks = readBlocks(object.array("blocks"))};
    case ConversationItemKind::toolInvocationGroup:
      return ToolInvocationGroup{readInvocations(object.array("invocations"))};
    case ConversationItemKind::compactionEvent:
      return CompactionEvent{};
    case ConversationItemKind::failureEvent:
      return FailureEvent{};
  }
  __builtin_unreachable();
}

/// Hands the member's value to `read`.
template <class Read>
auto readMember(const Members& members, std::string_view key, Read read) {
  const auto found = members.find(key);
  if (found == members.end()) throw Fault(fmt::format("\"{}\" is not before the entries", key));
  try {
    return read(parsed(found->second.text));
  } catch (const Fault& fault) {
    throw Fault(fault.what(), found->second.line);
  }
}

void expectVersion(const json::value& value) {
  const auto version = exactInteger(value);
  if (!version || *version < 1) throw Fault("the version of the format is no number");
  if (*version > kVersion) {
    throw Fault(
        fmt::format("this is of version {} of the format and was exported by a newer Ravant; this one knows "
                    "version {}",
                    *version, kVersion));
  }
}

std::pair<std::string, std::string> readPathAndName(const json::value& value) {
  const ObjectReader project(value, "\"project\"");
  std::string path = project.text("path");
  if (!path.starts_with('/') || path.contains('\0')) throw Fault("the project's path is not absolute");
  return {std::move(path), project.text("name")};
}

ExportedConversation readExported(const json::value& value) {
  const ObjectReader object(value, "\"conversation\"");
  const auto id = Uuid::parse(object.text("id"));
  if (!id || *id == Uuid()) throw Fault("the conversation's id is none");
  ExportedConversation exported{
      .conversation = {.id = ConversationId(*id),
                       .project = {},
                       .agent = {},
                       .agentResumedSessionId = object.optionalText("agentResumedSessionId"),
                       .lastUsedModel = object.optionalText("lastUsedModel"),
                       .lastUsedEffortRawValue = object.optionalText("lastUsedEffortRawValue"),
                       .createdAt = object.time("createdAt"),
                       .lastActivityAt = object.time("lastActivityAt"),
                       .lastPromptAt = object.time("lastPromptAt"),
                       .archived = object.boolean("archived"),
                       .lastUsedTokens = object.optionalNumber("lastUsedTokens"),
                       .lastTotalProcessedTokens = object.optionalNumber("lastTotalProcessedTokens"),
                       .lastInputTokens = object.optionalNumber("lastInputTokens"),
                       .lastOutputTokens = object.optionalNumber("lastOutputTokens"),
                       .lastCacheReadTokens = object.optionalNumber("lastCacheReadTokens"),
                       .lastCacheCreationTokens = object.optionalNumber("lastCacheCreationTokens"),
                       .lastUsageUpdatedAt = object.optionalTime("lastUsageUpdatedAt"),
                       .lastMaxTokens = object.optionalNumber("lastMaxTokens"),
                       .title = object.optionalText("title"),
                       .workItem = {}},
      .projectPath = {},
      .projectName = {},
      .agentType = object.optionalWord("agentType", agentTypeFromRawValue)};
  if (const json::value* workItem = object.member("workItem")) {
    exported.conversation.workItem = readWorkItem(*workItem);
  }
  const auto& session = exported.conversation.agentResumedSessionId;
  if (session && !canBeAgentSessionId(*session)) throw Fault("\"agentResumedSessionId\" is no id of a session");
  return exported;
}

}  // namespace

void expectFormat(const Members& members) {
  const auto format = members.find("format");
  const auto name = format == members.end() ? std::nullopt : parseJson(format->second.text);
  const auto* text = name ? name->if_string() : nullptr;
  if (!text || *text != kFormat) throw Fault("this is no conversation that Ravant exported as JSON");
  readMember(members, "version", expectVersion);
}

ExportedConversation readConversation(const Members& members) {
  ExportedConversation exported = readMember(members, "conversation", readExported);
  std::tie(exported.projectPath, exported.projectName) = readMember(members, "project", readPathAndName);
  return exported;
}

ConversationItem readItem(std::string_view text) {
  const json::value value = parsed(text);
  const ObjectReader object(value, "the entry");
  return {.id = {},
          .conversation = {},
          .rawJSON = object.text("rawJSON"),
          .createdAt = object.time("createdAt"),
          .text = object.text("text"),
          .detail = readDetail(object)};
}

}  // namespace ravant::conversation_wire
