#include "tests/integrations/linear/simulated_linear.hpp"

#include <fmt/ranges.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <set>
#include <utility>

#include "platform/clock/clock.hpp"

namespace ravant::test {
namespace {

using Query = SimulatedLinear::Query;

constexpr std::size_t kPage = 50;

constexpr std::string_view kViewer = R"(query {
  viewer { id name email }
  organization { id name urlKey }
})";

constexpr std::string_view kTeams = R"(query {
  teams(first: 100, orderBy: updatedAt) {
    nodes { id key name color }
  }
})";

constexpr std::string_view kAssignedIssues = R"(query($after: String) {
  viewer {
    assignedIssues(
      first: 50,
      after: $after,
      filter: { state: { type: { nin: ["completed", "canceled"] } } },
      orderBy: updatedAt
    ) {
      pageInfo { hasNextPage endCursor }
      nodes {
        id
        identifier
        title
        description
        priority
        priorityLabel
        state { name type color }
        team { key name }
        project { name }
        url
        createdAt
        updatedAt
      }
    }
  }
})";

constexpr std::array kQueries = {std::pair(kViewer, Query::viewer), std::pair(kTeams, Query::teams),
                                 std::pair(kAssignedIssues, Query::assignedIssues)};

std::string lower(std::string text) {
  std::ranges::transform(text, text.begin(), [](unsigned char c) { return std::tolower(c); });
  return text;
}

/// Empty where there is none.
std::string objectionToHead(const HttpServer::Request& request) {
  if (request.method != "POST" || request.target != "/graphql") return request.method + " " + request.target;
  std::set<std::string> names;
  for (const HttpHeader& header : request.headers) {
    if (!names.insert(lower(header.name)).second) return "two headers " + header.name;
  }
  const std::set<std::string> expected = {"authorization", "content-length", "content-type", "host", "user-agent"};
  if (names != expected) return fmt::format("other headers: {}", fmt::join(names, ", "));
  if (request.header("Content-Type") != "application/json") return "the content type";
  if (request.header("User-Agent") != "ravant") return "the user agent";
  return {};
}

struct Asked {
  Query query;
  json::object variables;
};

std::optional<Asked> readBody(const std::string& text) {
  const auto body = parseJson(text);
  const json::object* object = body ? asObject(&*body) : nullptr;
  if (!object || object->size() != 2) return std::nullopt;
  const auto* found = std::ranges::find(kQueries, stringAt(*object, "query"), &decltype(kQueries)::value_type::first);
  const json::object* variables = objectAt(*object, "variables");
  if (found == kQueries.end() || !variables) return std::nullopt;
  const bool hasCursor = variables->contains("after");
  const bool isRight =
      found->second == Query::assignedIssues ? hasCursor && variables->size() == 1 : variables->empty();
  return isRight ? std::optional(Asked{found->second, *variables}) : std::nullopt;
}

bool isFinished(const json::object& issue) {
  const json::object* state = objectAt(issue, "state");
  const auto type = state ? stringAt(*state, "type") : std::nullopt;
  return type == "completed" || type == "canceled";
}

/// Those that are not finished, the latest change first.
std::vector<json::object> openIssues(const LinearWorkspace& workspace) {
  std::vector<json::object> issues = workspace.issues;
  std::erase_if(issues, isFinished);
  std::ranges::sort(issues, std::ranges::greater(), [](const json::object& issue) {
    return std::pair(stringAt(issue, "updatedAt"), stringAt(issue, "id"));
  });
  return issues;
}

json::object assignedIssues(const LinearWorkspace& workspace, const std::string& cursor) {
  const std::vector<json::object> issues = openIssues(workspace);
  auto next = issues.begin();
  if (!cursor.empty()) {
    next = std::ranges::find(issues, cursor, [](const json::object& issue) { return stringAt(issue, "id"); });
    if (next == issues.end()) return {{"assignedIssues", nullptr}};
    ++next;
  }
  json::array nodes;
  for (; next != issues.end() && nodes.size() < kPage; ++next) nodes.emplace_back(*next);
  const json::value last = nodes.empty() ? json::value() : nodes.back().at("id");
  return {{"assignedIssues",
           {{"pageInfo", {{"hasNextPage", next != issues.end()}, {"endCursor", last}}}, {"nodes", std::move(nodes)}}}};
}

}  // namespace

json::object linearTeam(std::string_view key, std::string_view name) {
  return {{"id", fmt::format("team-{}", key)}, {"key", key}, {"name", name}, {"color", "#5e6ad2"}};
}

json::object linearIssue(int number, const json::object& other) {
  const Timestamp created{std::chrono::sys_days{std::chrono::year{2026} / 11 / 1}};
  json::object issue{{"id", fmt::format("issue-{}", number)},
                     {"identifier", fmt::format("ENG-{}", number)},
                     {"title", fmt::format("Title {}", number)},
                     {"description", nullptr},
                     {"priority", number % 5},
                     {"priorityLabel", "Label"},
                     {"state", {{"name", "Todo"}, {"type", "unstarted"}, {"color", "#e2e2e2"}}},
                     {"team", {{"key", "ENG"}, {"name", "Engineering"}}},
                     {"project", nullptr},
                     {"url", fmt::format("https://linear.app/acme/issue/ENG-{}", number)},
                     {"createdAt", iso8601(created)},
                     {"updatedAt", iso8601(created + std::chrono::minutes(number))}};
  for (const auto& [key, value] : other) issue.insert_or_assign(key, value);
  return issue;
}

std::vector<json::object> linearIssues(int count) {
  std::vector<json::object> issues;
  for (int number = 1; number <= count; ++number) issues.push_back(linearIssue(number));
  return issues;
}

SimulatedLinear::SimulatedLinear()
    : workspaces_{{std::string(kKey), LinearWorkspace()}},
      server_([this](const auto& request, auto& connection) { answer(request, connection); }) {}

std::vector<std::string> SimulatedLinear::cursors() const {
  const std::lock_guard lock(mutex_);
  return cursors_;
}

void SimulatedLinear::change(const std::function<void(LinearWorkspace&)>& change, std::string_view key) {
  const std::lock_guard lock(mutex_);
  change(workspaces_[std::string(key)]);
}

void SimulatedLinear::revoke(std::string_view key) {
  const std::lock_guard lock(mutex_);
  workspaces_.erase(std::string(key));
}

void SimulatedLinear::answerInstead(Query query, int nth, Answer answer) {
  const std::lock_guard lock(mutex_);
  instead_[query][nth] = std::move(answer);
}

SimulatedLinear::Answer SimulatedLinear::insteadOf(Query query) {
  std::map<int, Answer> later;
  Answer now;
  for (auto& [nth, answer] : instead_[query]) (nth == 1 ? now : later[nth - 1]) = std::move(answer);
  instead_[query] = std::move(later);
  return now;
}

json::object SimulatedLinear::dataFor(Query query, const json::object& variables, const LinearWorkspace& workspace) {
  switch (query) {
    case Query::viewer:
      return {{"viewer", workspace.viewer}, {"organization", workspace.organization}};
    case Query::teams:
      return {{"teams", {{"nodes", json::array(workspace.teams.begin(), workspace.teams.end())}}}};
    case Query::assignedIssues:
      cursors_.emplace_back(stringAt(variables, "after").value_or(std::string_view()));
      return {{"viewer", assignedIssues(workspace, cursors_.back())}};
  }
  __builtin_unreachable();
}

void SimulatedLinear::answer(const HttpServer::Request& request, HttpServer::Connection& connection) {
  const auto asked = readBody(request.body);
  const std::string objection = asked ? objectionToHead(request) : "no body of ours";
  if (!objection.empty()) {
    ADD_FAILURE() << objection << ": " << request.body;
    return connection.respond(400, {}, "{}");
  }
  Answer answer;
  {
    const std::lock_guard lock(mutex_);
    answer = insteadOf(asked->query);
    const auto workspace = workspaces_.find(request.header("Authorization").value_or(std::string()));
    if (!answer && workspace == workspaces_.end()) {
      answer = linearAnswer(401, R"({"errors":[{"message":"Authentication required, not authenticated",)"
                                 R"("extensions":{"code":"AUTHENTICATION_ERROR"}}]})");
    }
    if (!answer) {
      const json::object data = dataFor(asked->query, asked->variables, workspace->second);
      answer = linearAnswer(200, compactJson(json::object{{"data", data}}));
    }
  }
  answer(connection);
}

SimulatedLinear::Answer linearAnswer(int status, std::string body) {
  return [status, body = std::move(body)](HttpServer::Connection& connection) {
    connection.respond(status, {{"Content-Type", "application/json; charset=utf-8"}}, body);
  };
}

}  // namespace ravant::test
