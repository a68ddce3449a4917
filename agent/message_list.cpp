#include "agent/message_list.hpp"

#include <algorithm>

#include "agent/chat_completions_wire.hpp"
#include "agent/tool_call_id.hpp"
#include "core/overloaded.hpp"
#include "platform/text/text.hpp"

namespace ravant {
namespace {

constexpr std::string_view kNoAnswer = "(no answer)";

/// A group of calls and their results, as it grows.
class OpenCalls {
 public:
  explicit OpenCalls(std::vector<RavantMessage>& messages) : messages_(messages) {}

  /// `raw` is what was kept of the provider's answer.
  void open(std::string text, std::string_view raw) { open(std::move(text), chat::keptTurn(raw)); }

  void add(const TranscriptEntry::ToolInvocation& call) {
    const std::string name = sendableName(call.name.value_or(std::string()));
    if (auto turn = chat::keptTurn(call.rawJSON)) {
      open({}, std::move(turn));  // one without words
    } else if (!isOpen_ || hasCall(call.callId)) {
      open({}, std::nullopt);
    }
    const std::string id = call.callId.empty() ? generatedToolCallId() : call.callId;
    assistant_.toolCalls.push_back({.id = id, .name = name, .argumentsJSON = call.input.value_or(std::string())});
    results_.push_back({.callId = id, .name = name, .content = call.output, .isError = call.failed});
  }

  void close() {
    const bool isWorthSending = !assistant_.toolCalls.empty() || !trimmed(assistant_.text).empty();
    if (isWorthSending) messages_.emplace_back(fitToBeSent(std::exchange(assistant_, {})));
    std::ranges::move(results_, std::back_inserter(messages_));
    assistant_ = {};
    results_.clear();
    isOpen_ = false;
  }

 private:
  void open(std::string text, std::optional<chat::KeptTurn> turn) {
    close();
    assistant_.text = std::move(text);
    if (turn) {
      assistant_.model = std::move(turn->model);
      assistant_.reasoning = std::move(turn->reasoning);
    }
    isOpen_ = true;
  }

  /// An agent that gives the same id twice does so in two turns.
  bool hasCall(const std::string& id) const {
    return std::ranges::count(assistant_.toolCalls, id, &RavantToolCall::id) > 0;
  }

  std::vector<RavantMessage>& messages_;
  message::Assistant assistant_;
  std::vector<message::ToolResult> results_;
  bool isOpen_ = false;
};

/// As the model gave them where a provider takes them so; empty where they are no object.
std::string sendableArguments(std::string given) {
  const auto value = parseJson(given);
  if (value && asObject(&*value)) return given;
  const auto repaired = trimmed(given).empty() ? std::nullopt : parseArguments(given);
  return repaired ? compactJson(*repaired) : std::string();
}

}  // namespace

std::optional<json::object> parseArguments(std::string_view argumentsJSON) {
  if (trimmed(argumentsJSON).empty()) return json::object();
  JsonLineParser parser;
  const json::object* object = asObject(parser.parse(argumentsJSON));
  if (object == nullptr) return std::nullopt;
  // A copy that outlives the parser.
  return json::object(*object, json::storage_ptr());
}

message::Assistant fitToBeSent(message::Assistant assistant) {
  std::vector<std::string> ids;
  for (RavantToolCall& call : assistant.toolCalls) {
    if (call.id.empty() || std::ranges::count(ids, call.id) > 0) call.id = generatedToolCallId();
    call.name = sendableName(call.name);
    call.argumentsJSON = sendableArguments(std::move(call.argumentsJSON));
    ids.push_back(call.id);
  }
  return assistant;
}

std::string sendableName(std::string_view name) {
  constexpr std::size_t kLongest = 64;
  constexpr std::string_view kAllowed = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_-";
  std::string sendable(name.substr(0, kLongest));
  for (char& c : sendable) {
    if (!kAllowed.contains(c)) c = '_';
  }
  return sendable.empty() ? "unknown" : sendable;
}

std::vector<RavantMessage> fittedTo(const RavantModel& model, std::vector<RavantMessage> messages) {
  for (RavantMessage& message : messages) {
    auto* assistant = std::get_if<message::Assistant>(&message);
    if (assistant != nullptr && assistant->model != model.slug) assistant->reasoning.clear();
  }
  if (model.provider != RavantProvider::mistral) return messages;
  std::vector<RavantMessage> fitted;
  for (RavantMessage& message : messages) {
    const bool isBehindResult = !fitted.empty() && std::holds_alternative<message::ToolResult>(fitted.back());
    if (isBehindResult && std::holds_alternative<message::User>(message)) {
      fitted.emplace_back(message::Assistant{.text = std::string(kNoAnswer), .toolCalls = {}});
    }
    if (auto* result = std::get_if<message::ToolResult>(&message)) result->callId = nineCharacterId(result->callId);
    if (auto* assistant = std::get_if<message::Assistant>(&message)) {
      for (RavantToolCall& call : assistant->toolCalls) call.id = nineCharacterId(call.id);
    }
    fitted.push_back(std::move(message));
  }
  return fitted;
}

std::vector<RavantMessage> rehydratedTranscript(const std::vector<TranscriptEntry>& entries) {
  std::vector<RavantMessage> messages;
  OpenCalls calls(messages);
  for (const TranscriptEntry& entry : entries) {
    std::visit(Overloaded{[&](const TranscriptEntry::User& user) {
                            calls.close();
                            if (!trimmed(user.text).empty()) messages.emplace_back(message::User{user.text});
                          },
                          [&](const TranscriptEntry::Agent& agent) { calls.open(agent.text, agent.rawJSON); },
                          [&](const TranscriptEntry::ToolInvocation& call) { calls.add(call); }},
               entry.step);
  }
  calls.close();
  return messages;
}

}  // namespace ravant
