#pragma once

#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "platform/json/json.hpp"
#include "tests/support/http_server.hpp"

namespace ravant::test {

/// What a user has in Linear, in the form in which Linear tells it: some have been finished, the order is any.
struct LinearWorkspace {
  json::object viewer{{"id", "user-1"}, {"name", "Ada"}, {"email", "ada@example.com"}};
  json::object organization{{"id", "organization-1"}, {"name", "Acme"}, {"urlKey", "acme"}};
  std::vector<json::object> teams;
  std::vector<json::object> issues;
};

/// The team `team-KEY`.
json::object linearTeam(std::string_view key, std::string_view name);
/// The issue `issue-NUMBER`, ENG-NUMBER, changed so many minutes after the same moment; `other` are members that
/// differ.
json::object linearIssue(int number, const json::object& other = {});
/// Those from ENG-1.
std::vector<json::object> linearIssues(int count);

/// Linear, of which only what the program uses: it answers from what users have, a page of issues at a time, and
/// refuses keys that it does not know. A request in another form than Linear's documents have it fails the test.
class SimulatedLinear {
 public:
  static constexpr std::string_view kKey = "lin_api_0123456789abcdef";

  enum class Query { viewer, teams, assignedIssues };
  using Answer = std::function<void(HttpServer::Connection&)>;

  /// Knows `kKey`.
  SimulatedLinear();

  std::string url() const { return server_.url(); }
  std::vector<HttpServer::Request> requests() const { return server_.requests(); }
  /// The cursors of the pages that were asked for, in that order; empty for the first.
  std::vector<std::string> cursors() const;

  /// Changes what the user of a key has; a key that is new becomes known.
  void change(const std::function<void(LinearWorkspace&)>& change, std::string_view key = kKey);
  void revoke(std::string_view key = kKey);

  /// The `nth` request of that kind from now on, counted from 1, is answered so instead.
  void answerInstead(Query query, int nth, Answer answer);

 private:
  void answer(const HttpServer::Request& request, HttpServer::Connection& connection);
  Answer insteadOf(Query query);
  json::object dataFor(Query query, const json::object& variables, const LinearWorkspace& workspace);

  mutable std::mutex mutex_;
  std::map<std::string, LinearWorkspace, std::less<>> workspaces_;
  std::map<Query, std::map<int, Answer>> instead_;
  std::vector<std::string> cursors_;
  HttpServer server_;
};

/// A response with a body in JSON.
SimulatedLinear::Answer linearAnswer(int status, std::string body);

}  // namespace ravant::test
