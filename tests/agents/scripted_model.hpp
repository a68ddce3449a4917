#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "platform/json/json.hpp"
#include "tests/support/http_server.hpp"

namespace ravant::test {

/// What a model does with one request.
using ModelAnswer = std::function<void(HttpServer::Connection&)>;

/// A model behind a chat-completions service that answers each request by the next line of its script. What no provider
/// would take of a request fails the test.
class ScriptedModel {
 public:
  static constexpr std::string_view kKey = "sk-or-v1-0123456789";

  explicit ScriptedModel(std::vector<ModelAnswer> script,
                         HttpServer::Transport transport = HttpServer::Transport::plain);
  ~ScriptedModel();

  std::string url() const { return server_.url(); }
  std::filesystem::path certificate() const { return server_.certificate(); }
  std::vector<HttpServer::Request> requests() const { return server_.requests(); }
  std::size_t connections() const { return server_.connections(); }
  /// Of each request, a line for each of its messages but the system prompt: `role: content`, the calls in front of it.
  std::vector<std::string> conversations() const;

 private:
  void answer(const HttpServer::Request& request, HttpServer::Connection& connection);

  std::vector<ModelAnswer> script_;
  std::mutex mutex_;
  std::size_t next_ = 0;
  HttpServer server_;
};

/// One event of a stream.
std::string chatEvent(const json::object& event);
/// An event with a piece of text.
std::string textEvent(std::string_view text);
/// An event with whole tool calls: id, name and arguments of each.
struct ScriptedCall {
  std::string id;
  std::string name;
  std::string arguments;
};
std::string callsEvent(const std::vector<ScriptedCall>& calls);
/// The usage and the end mark.
std::string endOfStream(std::int64_t promptTokens = 100, std::int64_t completionTokens = 20);

ModelAnswer says(std::vector<std::string> fragments);
ModelAnswer calls(std::vector<ScriptedCall> toolCalls, std::string text = {});
ModelAnswer refuses(int status, std::string body, std::vector<HttpHeader> headers = {});

}  // namespace ravant::test
