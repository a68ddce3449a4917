#include "tests/agents/scripted_model.hpp"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <regex>

namespace ravant::test {
namespace {

enum class Service { openrouter, mistral };

const json::array& messagesOf(const json::value& body) { return body.at("messages").as_array(); }

std::string textAt(const json::object& object, std::string_view key) {
  return std::string(stringAt(object, key).value_or("(none)"));
}

/// A text, or a list of parts with the thinking in front; nothing for what no provider takes.
std::optional<std::string> contentOf(const json::object& message, Service service) {
  if (const auto text = stringAt(message, "content")) return std::string(*text);
  const json::array* parts = arrayAt(message, "content");
  if (parts == nullptr || parts->empty() || service != Service::mistral) return std::nullopt;
  std::string content;
  for (const json::value& part : *parts) {
    const std::string type = textAt(part.as_object(), "type");
    if (type == "thinking" && content.empty() && arrayAt(part.as_object(), "thinking")) continue;
    if (type != "text") return std::nullopt;
    content += textAt(part.as_object(), "text");
  }
  return content;
}

/// A member that Mistral refuses; empty where there is none.
std::string strangeMember(const json::object& message) {
  for (const auto& [key, value] : message) {
    if (key != "role" && key != "content" && key != "tool_calls" && key != "tool_call_id" && key != "name") return key;
  }
  return {};
}

/// What providers refuse in a list of messages; empty where they take it.
std::string objectionTo(const json::array& messages, Service service) {
  std::vector<std::string> awaited;
  if (messages.empty() || textAt(messages.front().as_object(), "role") != "system") return "no system prompt";
  for (std::size_t i = 1; i < messages.size(); ++i) {
    const json::object& message = messages[i].as_object();
    const std::string role = textAt(message, "role");
    const auto content = contentOf(message, service);
    if (!content) return "a message without a content";
    if (const std::string member = strangeMember(message); service == Service::mistral && !member.empty()) {
      return "an unknown member: " + member;
    }
    if (role == "tool") {
      const std::string id = textAt(message, "tool_call_id");
      if (awaited.empty() || awaited.front() != id) return "a result without its call: " + id;
      if (content->empty()) return "an empty result";
      awaited.erase(awaited.begin());
      continue;
    }
    if (!awaited.empty()) return "a call without its result: " + awaited.front();
    const bool isBehindResult = i > 1 && textAt(messages[i - 1].as_object(), "role") == "tool";
    if (role == "user" && isBehindResult && service == Service::mistral) return "a user behind a tool";
    if (role != "user" && role != "assistant") return "an unknown role: " + role;
    const json::array* calls = arrayAt(message, "tool_calls");
    if (calls == nullptr && content->empty()) return "an empty message";
    if (calls == nullptr) continue;
    if (calls->empty()) return "an empty list of calls";
    for (const json::value& call : *calls) {
      const std::string id = textAt(call.as_object(), "id");
      if (id.empty() || std::ranges::count(awaited, id) > 0) return "an id that is empty or not unique";
      const char* const form = service == Service::mistral ? "[a-zA-Z0-9]{9}" : ".+";
      if (!std::regex_match(id, std::regex(form))) return "an id of another form: " + id;
      const std::string name = textAt(call.at("function").as_object(), "name");
      if (!std::regex_match(name, std::regex("[a-zA-Z0-9_-]{1,64}"))) return "a name of another form: " + name;
      const auto arguments = parseJson(textAt(call.at("function").as_object(), "arguments"));
      if (!arguments || !arguments->is_object()) return "arguments that are no object";
      awaited.push_back(id);
    }
  }
  if (!awaited.empty()) return "a call without its result: " + awaited.front();
  const std::string last = textAt(messages.back().as_object(), "role");
  return last == "user" || last == "tool" ? "" : "nothing to answer to";
}

std::string objectionTo(const HttpServer::Request& request) {
  if (request.method != "POST") return "the method " + request.method;
  const bool isOpenRouter = request.target == "/api/v1/chat/completions";
  if (!isOpenRouter && request.target != "/v1/chat/completions") return "the path " + request.target;
  if (request.header("Authorization") != "Bearer " + std::string(ScriptedModel::kKey)) return "no key";
  if (request.header("Content-Type") != "application/json") return "no content type";
  if (request.header("Accept") != "text/event-stream") return "no event stream is accepted";
  const auto body = parseJson(request.body);
  if (!body || !body->is_object()) return "a body that is no object";
  const json::object& object = body->get_object();
  if (boolAt(object, "stream") != true) return "no stream is asked for";
  if (object.contains("tools") != object.contains("tool_choice")) return "tools without a choice, or the other way";
  return objectionTo(messagesOf(*body), isOpenRouter ? Service::openrouter : Service::mistral);
}

}  // namespace

ScriptedModel::ScriptedModel(std::vector<ModelAnswer> script, HttpServer::Transport transport)
    : script_(std::move(script)),
      server_([this](const auto& request, auto& connection) { answer(request, connection); }, transport) {}

ScriptedModel::~ScriptedModel() {
  for (const HttpServer::Request& request : server_.requests()) {
    EXPECT_EQ(objectionTo(request), "") << request.body;
  }
  const std::lock_guard lock(mutex_);
  EXPECT_EQ(next_, script_.size()) << "not all of the script was played";
}

std::vector<std::string> ScriptedModel::conversations() const {
  std::vector<std::string> conversations;
  for (const HttpServer::Request& request : server_.requests()) {
    std::string& lines = conversations.emplace_back();
    const json::value body = parseJson(request.body).value();
    for (const json::value& value : messagesOf(body)) {
      const json::object& message = value.as_object();
      if (textAt(message, "role") == "system") continue;
      lines += textAt(message, "role") + ":";
      if (const json::array* made = arrayAt(message, "tool_calls")) {
        for (const json::value& call : *made) {
          const json::object& function = call.at("function").as_object();
          lines += fmt::format(" {}({})", textAt(function, "name"), textAt(function, "arguments"));
        }
      }
      const std::string content = contentOf(message, Service::mistral).value_or("(none)");
      lines += (content.empty() ? "" : " ") + content + "\n";
    }
  }
  return conversations;
}

void ScriptedModel::answer(const HttpServer::Request& request, HttpServer::Connection& connection) {
  ModelAnswer next;
  {
    const std::lock_guard lock(mutex_);
    if (next_ < script_.size()) next = script_[next_++];
  }
  if (next) return next(connection);
  ADD_FAILURE() << "a request behind the end of the script: " << request.body;
  connection.respond(400, {}, "the script is over");
}

std::string chatEvent(const json::object& event) { return fmt::format("data: {}\n\n", compactJson(event)); }

std::string textEvent(std::string_view text) {
  return chatEvent({{"id", "gen-1"}, {"choices", {{{"index", 0}, {"delta", {{"content", text}}}}}}});
}

std::string callsEvent(const std::vector<ScriptedCall>& calls) {
  json::array forms;
  for (const auto& [id, name, arguments] : calls) {
    forms.push_back({{"index", forms.size()},
                     {"id", id},
                     {"type", "function"},
                     {"function", {{"name", name}, {"arguments", arguments}}}});
  }
  json::object choice{{"index", 0}, {"delta", {{"tool_calls", std::move(forms)}}}};
  return chatEvent({{"id", "gen-1"}, {"choices", json::array{std::move(choice)}}});
}

std::string endOfStream(std::int64_t promptTokens, std::int64_t completionTokens) {
  return chatEvent({{"id", "gen-1"},
                    {"choices", json::array()},
                    {"usage",
                     {{"prompt_tokens", promptTokens},
                      {"completion_tokens", completionTokens},
                      {"total_tokens", promptTokens + completionTokens}}}}) +
         "data: [DONE]\n\n";
}

ModelAnswer says(std::vector<std::string> fragments) {
  return [fragments = std::move(fragments)](HttpServer::Connection& connection) {
    connection.beginEventStream();
    for (const std::string& fragment : fragments) connection.write(textEvent(fragment));
    connection.write(endOfStream());
  };
}

ModelAnswer calls(std::vector<ScriptedCall> toolCalls, std::string text) {
  return [toolCalls = std::move(toolCalls), text = std::move(text)](HttpServer::Connection& connection) {
    connection.beginEventStream();
    if (!text.empty()) connection.write(textEvent(text));
    connection.write(callsEvent(toolCalls));
    connection.write(endOfStream());
  };
}

ModelAnswer refuses(int status, std::string body, std::vector<HttpHeader> headers) {
  return [status, body = std::move(body), headers = std::move(headers)](HttpServer::Connection& connection) {
    connection.respond(status, headers, body);
  };
}

}  // namespace ravant::test
