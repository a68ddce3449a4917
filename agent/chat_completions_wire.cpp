#include "agent/chat_completions_wire.hpp"

#include <simdjson.h>

#include <boost/json/serialize.hpp>

#include "core/overloaded.hpp"
#include "platform/text/text.hpp"
#include "platform/text/utf8.hpp"

namespace ravant::chat {
namespace {

constexpr std::string_view kNoOutput = "(no output)";
constexpr std::string_view kErrorMark = "[tool error] ";

json::object toolCallForm(const RavantToolCall& call) {
  const std::string arguments = call.argumentsJSON.empty() ? "{}" : repairUtf8(call.argumentsJSON);
  return {{"id", repairUtf8(call.id)},
          {"type", "function"},
          {"function", {{"name", repairUtf8(call.name)}, {"arguments", arguments}}}};
}

json::object form(const message::User& user) { return {{"role", "user"}, {"content", repairUtf8(user.text)}}; }

json::object form(const message::Assistant& assistant) {
  json::object object{{"role", "assistant"}, {"content", repairUtf8(assistant.text)}};
  if (assistant.toolCalls.empty()) return object;
  json::array calls;
  for (const RavantToolCall& call : assistant.toolCalls) calls.push_back(toolCallForm(call));
  object.emplace("tool_calls", std::move(calls));
  return object;
}

json::object form(const message::ToolResult& result) {
  std::string content = result.isError ? std::string(kErrorMark) + result.content : result.content;
  if (content.empty()) content = kNoOutput;
  return {{"role", "tool"},
          {"tool_call_id", repairUtf8(result.callId)},
          {"name", repairUtf8(result.name)},
          {"content", repairUtf8(std::move(content))}};
}

using simdjson::dom::element;

std::string_view textOf(const element& value) {
  std::string_view text;
  return value.get(text) == simdjson::SUCCESS ? text : std::string_view();
}

std::string jsonOf(const element& value) { return simdjson::minify(value); }

/// The text that a value is; another value as JSON, and none as an empty text.
std::string textOrJson(const element& value) {
  if (value.is_string()) return std::string(textOf(value));
  return value.is_null() ? std::string() : jsonOf(value);
}

/// Calls `member` with each member of an object; with none of another value.
template <class Member>
void forEachMember(const element& value, Member member) {
  simdjson::dom::object object;
  if (value.get(object) != simdjson::SUCCESS) return;
  for (const auto& [key, found] : object) member(key, found);
}

std::optional<StreamError> parseError(const element& error) {
  if (error.is_null()) return std::nullopt;
  if (!error.is_object()) return StreamError{.code = {}, .message = textOrJson(error)};
  StreamError parsed;
  forEachMember(error, [&](std::string_view key, const element& value) {
    if (key == "code" && !value.is_null()) parsed.code = textOrJson(value);
    if (key == "message") parsed.message = textOf(value);
  });
  if (parsed.message.empty()) parsed.message = jsonOf(error);
  return parsed;
}

ToolCallFragment parseToolCall(const element& call) {
  ToolCallFragment fragment;
  forEachMember(call, [&](std::string_view key, const element& value) {
    if (std::int64_t index = 0; key == "index" && value.get(index) == simdjson::SUCCESS) fragment.index = index;
    if (key == "id") fragment.id = textOf(value);
    if (key != "function") return;
    forEachMember(value, [&](std::string_view name, const element& part) {
      if (name == "name") fragment.name = textOf(part);
      // Some providers send the arguments whole, as the object they are.
      if (name == "arguments") fragment.arguments = textOrJson(part);
    });
  });
  return fragment;
}

void parseDelta(const element& delta, Chunk& chunk) {
  forEachMember(delta, [&](std::string_view key, const element& value) {
    if (key == "content") chunk.content = textOf(value);
    simdjson::dom::array calls;
    if (key != "tool_calls" || value.get(calls) != simdjson::SUCCESS) return;
    for (const element call : calls) {
      if (call.is_object()) chunk.toolCalls.push_back(parseToolCall(call));
    }
  });
}

void parseFirstChoice(const element& choices, Chunk& chunk) {
  simdjson::dom::array list;
  if (choices.get(list) != simdjson::SUCCESS || list.begin() == list.end()) return;
  forEachMember(*list.begin(), [&](std::string_view key, const element& value) {
    if (key == "finish_reason" && value.is_string()) chunk.finishReason = textOf(value);
    if (key == "delta") parseDelta(value, chunk);
  });
}

}  // namespace

std::string requestBody(const Request& request) {
  json::array messages;
  messages.push_back(json::object{{"role", "system"}, {"content", repairUtf8(request.systemPrompt)}});
  for (const RavantMessage& message : request.messages) {
    messages.push_back(std::visit([](const auto& kind) { return form(kind); }, message));
  }
  json::object body{{"model", request.model}, {"stream", true}, {"messages", std::move(messages)}};
  if (!request.tools.empty()) {
    body.emplace("tools", request.tools);
    body.emplace("tool_choice", "auto");
  }
  if (request.temperature) body.emplace("temperature", *request.temperature);
  return json::serialize(body);
}

struct ChunkParser::Parsers {
  /// What JSON allows no program to write, though some do: broken UTF-8 and halves of surrogate pairs.
  std::optional<element> parseRepaired(std::string_view payload) {
    const json::value* value = tolerant.parse(repairUtf8(std::string(payload)));
    if (value == nullptr) return std::nullopt;
    repaired = compactJson(*value);
    element root;
    return fast.parse(repaired).get(root) == simdjson::SUCCESS ? std::optional(root) : std::nullopt;
  }

  simdjson::dom::parser fast;
  JsonLineParser tolerant;
  std::string repaired;
};

ChunkParser::ChunkParser() : parsers_(std::make_unique<Parsers>()) {}
ChunkParser::~ChunkParser() = default;

std::optional<Chunk> ChunkParser::parse(std::string_view payload) {
  std::optional<element> root = element();
  if (parsers_->fast.parse(payload.data(), payload.size()).get(*root) != simdjson::SUCCESS) {
    root = parsers_->parseRepaired(payload);
  }
  if (!root || !root->is_object()) return std::nullopt;
  Chunk chunk;
  forEachMember(*root, [&](std::string_view key, const element& value) {
    if (key == "choices") parseFirstChoice(value, chunk);
    if (key == "id" && value.is_string()) chunk.id = textOf(value);
    if (key == "error") chunk.error = parseError(value);
    if (key == "usage" && value.is_object()) {
      if (auto usage = parseJson(jsonOf(value))) chunk.usage = std::move(usage->as_object());
    }
  });
  return chunk;
}

std::optional<std::string_view> eventData(std::string_view line) {
  constexpr std::string_view kField = "data:";
  if (!line.starts_with(kField)) return std::nullopt;
  return trimmed(line.substr(kField.size()));
}

std::string rawTurn(const ChatTurn& turn) {
  json::object raw;
  if (turn.responseId) raw.emplace("id", *turn.responseId);
  if (turn.finishReason) raw.emplace("finish_reason", *turn.finishReason);
  raw.emplace("message", form(message::Assistant{.text = turn.text, .toolCalls = turn.toolCalls}));
  if (turn.usage) raw.emplace("usage", *turn.usage);
  return json::serialize(raw);
}

std::string rawToolCall(const RavantToolCall& call) { return json::serialize(toolCallForm(call)); }

}  // namespace ravant::chat
