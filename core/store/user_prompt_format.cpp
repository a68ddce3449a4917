#include "core/store/user_prompt_format.hpp"

#include "platform/json/json.hpp"

namespace ravant {
namespace {

json::array content(std::string_view type, std::string_view prompt) {
  return {json::object{{"type", type}, {"text", prompt}}};
}

json::object message(json::value content) { return {{"role", "user"}, {"content", std::move(content)}}; }

json::object record(std::string_view prompt, AgentType agent) {
  switch (agent) {
    case AgentType::claude:
      return {{"type", "user"}, {"message", message(content("text", prompt))}};
    case AgentType::codex: {
      json::object payload = message(content("input_text", prompt));
      payload["type"] = "message";
      return {{"type", "response_item"}, {"payload", std::move(payload)}};
    }
    case AgentType::pi:
      return {{"type", "message"}, {"message", message(content("text", prompt))}};
    case AgentType::cursor:
      return {{"prompt", content("text", prompt)}};
    case AgentType::ravant:
      return {{"message", message(json::string(prompt))}};
  }
  __builtin_unreachable();
}

}  // namespace

std::string formatUserPrompt(std::string_view prompt, AgentType agent, Timestamp now) {
  json::object formatted = record(prompt, agent);
  formatted["timestamp"] = iso8601(now);
  return compactJson(formatted);
}

}  // namespace ravant
