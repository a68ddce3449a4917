#include "agent/chat_completions_wire.hpp"

#include <algorithm>

#include "agent/reasoning.hpp"
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

/// Of what a model said: a message, or the turn that it was said in.
template <class Said>
json::object form(const Said& said) {
  json::object object{{"role", "assistant"}, {"content", json::value()}};
  object["content"] = isValidUtf8(said.text) ? json::string(said.text) : json::string(repairUtf8(said.text));
  putReasoning(said.reasoning, object);
  if (said.toolCalls.empty()) return object;
  json::array calls;
  for (const RavantToolCall& call : said.toolCalls) calls.push_back(toolCallForm(call));
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

std::optional<std::string> codeText(const json::object& error) {
  const json::value* code = error.if_contains("code");
  if (code == nullptr || code->is_null()) return std::nullopt;
  if (const auto* text = code->if_string()) return std::string(*text);
  return compactJson(*code);
}

std::optional<StreamError> parseError(const json::object& chunk) {
  const json::value* error = chunk.if_contains("error");
  if (error == nullptr || error->is_null()) return std::nullopt;
  if (const auto* text = error->if_string()) return StreamError{.code = {}, .message = std::string(*text)};
  const json::object* object = asObject(error);
  if (object == nullptr) return StreamError{.code = {}, .message = compactJson(*error)};
  const auto message = stringAt(*object, "message");
  return StreamError{.code = codeText(*object), .message = message ? std::string(*message) : compactJson(*error)};
}

/// Some providers send the arguments whole, as the object they are.
std::string argumentsText(const json::object& function) {
  const json::value* arguments = function.if_contains("arguments");
  if (arguments == nullptr || arguments->is_null()) return {};
  if (const auto* text = arguments->if_string()) return std::string(*text);
  return compactJson(*arguments);
}

ToolCallFragment parseToolCall(const json::object& call) {
  ToolCallFragment fragment{.index = integerAt(call, "index"),
                            .id = stringAt(call, "id").value_or(std::string_view()),
                            .name = {},
                            .arguments = {}};
  if (const json::object* function = objectAt(call, "function")) {
    fragment.name = stringAt(*function, "name").value_or(std::string_view());
    fragment.arguments = argumentsText(*function);
  }
  return fragment;
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
  return compactJson(std::move(body));
}

std::optional<Chunk> ChunkParser::parse(std::string_view payload) {
  if (const auto text = textInEnvelope(payload)) return Chunk{.content = *text};
  const json::object* object = asObject(parser_.parse(payload));
  if (object == nullptr && !isValidUtf8(payload)) {
    repaired_ = repairUtf8(std::string(payload));
    object = asObject(parser_.parse(repaired_));
  }
  if (object == nullptr) return std::nullopt;
  Chunk chunk{.id = stringAt(*object, "id"), .error = parseError(*object)};
  // In memory of its own: the parser's is used again.
  if (const json::object* usage = objectAt(*object, "usage")) chunk.usage.emplace(*usage, json::storage_ptr());
  const json::array* choices = arrayAt(*object, "choices");
  if (choices != nullptr && !choices->empty()) {
    if (const json::object* choice = asObject(&choices->front())) parseChoice(*choice, chunk);
  }
  keepEnvelope(payload, chunk);
  return chunk;
}

void ChunkParser::parseChoice(const json::object& choice, Chunk& chunk) {
  const auto reason = stringAt(choice, "finish_reason");
  if (reason && !reason->empty()) chunk.finishReason = reason;
  const json::object* delta = objectAt(choice, "delta");
  if (delta == nullptr) return;
  if (const json::value* content = delta->if_contains("content")) chunk.content = textOf(*content);
  chunk.reasoning = reasoningIn(*delta);
  const json::array* calls = arrayAt(*delta, "tool_calls");
  if (calls == nullptr) return;
  for (const json::value& call : *calls) {
    if (const json::object* object = asObject(&call)) chunk.toolCalls.push_back(parseToolCall(*object));
  }
}

/// A text, or a list of parts of which some are texts.
std::string_view ChunkParser::textOf(const json::value& content) {
  if (const auto* text = content.if_string()) return *text;
  joined_.clear();
  const json::array* parts = content.if_array();
  if (parts == nullptr) return {};
  for (const json::value& part : *parts) {
    const json::object* object = asObject(&part);
    if (object == nullptr || stringAt(*object, "type") != "text") continue;
    joined_ += stringAt(*object, "text").value_or(std::string_view());
  }
  return joined_;
}

std::optional<std::string_view> ChunkParser::textInEnvelope(std::string_view payload) const {
  const bool fits = !prefix_.empty() && payload.size() > prefix_.size() + suffix_.size() &&
                    payload.starts_with(prefix_) && payload.ends_with(suffix_);
  if (!fits) return std::nullopt;
  const std::string_view text = payload.substr(prefix_.size(), payload.size() - prefix_.size() - suffix_.size());
  const bool isPlain =
      std::ranges::all_of(text, [](unsigned char c) { return c >= ' ' && c != '"' && c != '\\'; }) && isValidUtf8(text);
  return isPlain ? std::optional(text) : std::nullopt;
}

void ChunkParser::keepEnvelope(std::string_view payload, const Chunk& chunk) {
  constexpr std::string_view kName = R"("content")";
  constexpr std::string_view kBegin = R"(:")";
  const auto isEmptyText = [](const auto& member) { return member.value() == ""; };
  const bool isTextAlone = !chunk.content.empty() && !chunk.finishReason && !chunk.usage && !chunk.error &&
                           chunk.toolCalls.empty() && std::ranges::all_of(chunk.reasoning, isEmptyText);
  // Within a text the quotes would be escaped: where the name stands once, that is the member itself.
  const std::size_t name = payload.find(kName);
  if (!isTextAlone || name == std::string_view::npos || payload.rfind(kName) != name) return;
  if (!payload.substr(name + kName.size()).starts_with(kBegin)) return;
  const std::size_t text = name + kName.size() + kBegin.size();
  const std::string_view rest = payload.substr(text);
  if (!rest.starts_with(chunk.content) || !rest.substr(chunk.content.size()).starts_with('"')) return;
  prefix_ = payload.substr(0, text);
  suffix_ = rest.substr(chunk.content.size());
}

std::optional<std::string_view> eventData(std::string_view line) {
  constexpr std::string_view kField = "data:";
  if (!line.starts_with(kField)) return std::nullopt;
  return trimmed(line.substr(kField.size()));
}

std::string rawTurn(const ChatTurn& turn, std::string_view model) {
  json::object raw{{"model", model}};
  if (turn.responseId) raw.emplace("id", *turn.responseId);
  if (turn.finishReason) raw.emplace("finish_reason", *turn.finishReason);
  raw.emplace("message", form(turn));
  if (turn.usage) raw.emplace("usage", *turn.usage);
  return compactJson(std::move(raw));
}

std::string rawToolCall(const RavantToolCall& call) { return compactJson(toolCallForm(call)); }

std::optional<KeptTurn> keptTurn(std::string_view raw) {
  const auto value = parseJson(raw);
  const json::object* turn = value ? asObject(&*value) : nullptr;
  const json::object* message = turn ? objectAt(*turn, "message") : nullptr;
  if (message == nullptr) return std::nullopt;
  return KeptTurn{.model = std::string(stringAt(*turn, "model").value_or(std::string_view())),
                  .reasoning = reasoningIn(*message)};
}

}  // namespace ravant::chat
