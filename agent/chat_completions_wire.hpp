#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "agent/chat_turn.hpp"
#include "agent/ravant_message.hpp"
#include "platform/json/json.hpp"

namespace ravant::chat {

/// What is asked of a model in one request.
struct Request {
  std::string model;
  std::string systemPrompt;
  std::vector<RavantMessage> messages;
  json::array tools;
  std::optional<double> temperature;
};

/// The body of a streaming request, in valid UTF-8.
/// Source: platform.openai.com/docs/api-reference/chat, as openrouter.ai and docs.mistral.ai have it, November 2026.
std::string requestBody(const Request& request);

/// A piece of a tool call.
struct ToolCallFragment {
  std::optional<std::int64_t> index;
  std::string_view id;
  std::string_view name;
  std::string arguments;  ///< to be appended to those before
};

struct StreamError {
  std::optional<std::string> code;
  std::string message;
};

/// One object of the stream.
struct Chunk {
  std::optional<std::string_view> id;
  std::optional<json::object> usage;
  std::optional<std::string_view> finishReason;
  std::string_view content;
  json::object reasoning;
  std::vector<ToolCallFragment> toolCalls;
  std::optional<StreamError> error;
};

/// Parses the objects of one stream.
class ChunkParser {
 public:
  /// Nothing for what is no JSON object. Valid until the next call, and as long as `payload`.
  std::optional<Chunk> parse(std::string_view payload);

 private:
  /// The text of an event that differs from an earlier one in nothing else, which most do.
  std::optional<std::string_view> textInEnvelope(std::string_view payload) const;
  void parseChoice(const json::object& choice, Chunk& chunk);
  std::string_view textOf(const json::value& content);
  void keepEnvelope(std::string_view payload, const Chunk& chunk);

  JsonLineParser parser_;
  std::string repaired_;
  std::string joined_;  ///< the text of several parts
  std::string prefix_;  ///< of an event with a text and nothing more, up to the text
  std::string suffix_;
};

/// The data of a line of an event stream, without the white space around it; nothing for any other line.
/// Source: html.spec.whatwg.org, server-sent events.
std::optional<std::string_view> eventData(std::string_view line);

/// The end of a stream, in place of an object.
inline constexpr std::string_view kStreamEnd = "[DONE]";

/// A turn of the model with that slug, and one of its calls, as what the transcript keeps of the provider's own answer.
std::string rawTurn(const ChatTurn& turn, std::string_view model);
std::string rawToolCall(const RavantToolCall& call);

/// What is to be given back of a turn that was kept.
struct KeptTurn {
  std::string model;
  json::object reasoning;
};
/// Nothing for what is not of `rawTurn`.
std::optional<KeptTurn> keptTurn(std::string_view raw);

}  // namespace ravant::chat
