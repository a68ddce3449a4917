#include "integrations/linear/linear_wire.hpp"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <utility>

#include "platform/json/json.hpp"
#include "platform/text/utf8.hpp"

namespace ravant::linear {
namespace {

constexpr std::string_view kViewerQuery =
    "query {\n"
    "  viewer { id name email }\n"
    "  organization { id name urlKey }\n"
    "}";

constexpr std::string_view kTeamsQuery =
    "query {\n"
    "  teams(first: 100, orderBy: updatedAt) {\n"
    "    nodes { id key name color }\n"
    "  }\n"
    "}";

constexpr std::string_view kAssignedIssuesQuery =
    "query($after: String) {\n"
    "  viewer {\n"
    "    assignedIssues(\n"
    "      first: 50,\n"
    "      after: $after,\n"
    "      filter: { state: { type: { nin: [\"completed\", \"canceled\"] } } },\n"
    "      orderBy: updatedAt\n"
    "    ) {\n"
    "      pageInfo { hasNextPage endCursor }\n"
    "      nodes {\n"
    "        id\n"
    "        identifier\n"
    "        title\n"
    "        description\n"
    "        priority\n"
    "        priorityLabel\n"
    "        state { name type color }\n"
    "        team { key name }\n"
    "        project { name }\n"
    "        url\n"
    "        createdAt\n"
    "        updatedAt\n"
    "      }\n"
    "    }\n"
    "  }\n"
    "}";

std::string request(std::string_view query, json::object variables = {}) {
  return compactJson(json::object{{"query", query}, {"variables", std::move(variables)}});
}

/// Reads members of an object and of those in it, and remembers the first that is not as it has to be.
class Members {
 public:
  Members(const json::object* object, std::optional<std::string>& fault) : object_(object), fault_(fault) {}

  std::string text(std::string_view key) {
    const auto text = object_ ? stringAt(*object_, key) : std::nullopt;
    if (!text) complain(fmt::format("{} is missing", key));
    return std::string(text.value_or(std::string_view()));
  }

  /// Such as can stand in a name: not empty, and without spaces and control characters.
  std::string word(std::string_view key) {
    std::string word = text(key);
    const bool isWord =
        !word.empty() && std::ranges::all_of(word, [](unsigned char c) { return c > ' ' && c != 0x7f; });
    if (!isWord) complain(fmt::format("{} is no name", key));
    return word;
  }

  std::optional<std::string> optionalText(std::string_view key) const {
    const auto text = object_ ? stringAt(*object_, key) : std::nullopt;
    return text ? std::optional<std::string>(*text) : std::nullopt;
  }

  std::int64_t integer(std::string_view key) {
    const auto number = object_ ? integerAt(*object_, key) : std::nullopt;
    if (!number) complain(fmt::format("{} is missing", key));
    return number.value_or(0);
  }

  bool boolean(std::string_view key) {
    const auto value = object_ ? boolAt(*object_, key) : std::nullopt;
    if (!value) complain(fmt::format("{} is missing", key));
    return value.value_or(false);
  }

  Timestamp date(std::string_view key) {
    const std::string written = text(key);
    const auto time = parseIso8601(written);
    constexpr std::size_t kShown = 100;  // characters
    if (!time) complain(fmt::format("Unrecognized ISO 8601 date: {}", firstCharacters(written, kShown)));
    return time.value_or(Timestamp());
  }

  Members member(std::string_view key) { return {object_ ? objectAt(*object_, key) : nullptr, fault_}; }
  Members element(const json::value& value) { return {asObject(&value), fault_}; }

  const json::array& list(std::string_view key) {
    static const json::array kNone;
    const json::array* list = object_ ? arrayAt(*object_, key) : nullptr;
    if (!list) complain(fmt::format("{} are missing", key));
    return list ? *list : kNone;
  }

  void complain(std::string words) {
    if (!fault_) fault_ = std::move(words);
  }

 private:
  const json::object* object_;
  std::optional<std::string>& fault_;
};

Problem unreadable(std::string words) { return {Problem::Kind::unreadable, std::move(words)}; }

std::optional<Problem> problemOf(const json::object& answer) {
  const json::array* errors = arrayAt(answer, "errors");
  if (!errors || errors->empty()) return std::nullopt;
  Problem::Kind kind = Problem::Kind::graphQL;
  std::vector<std::string_view> messages;
  for (const json::value& value : *errors) {
    const json::object* error = asObject(&value);
    if (!error) continue;
    const std::string_view message = stringAt(*error, "message").value_or(std::string_view());
    if (!message.empty()) messages.push_back(message);
    const json::object* extensions = objectAt(*error, "extensions");
    const auto code = extensions ? stringAt(*extensions, "code") : std::nullopt;
    if (code == "RATELIMITED") kind = Problem::Kind::rateLimited;
    if (code == "AUTHENTICATION_ERROR" || message.contains("Authentication required")) {
      kind = Problem::Kind::unauthenticated;
    }
  }
  return Problem{kind, fmt::format("{}", fmt::join(messages, "; "))};
}

/// An answer as JSON, as long as this lives.
class Envelope {
 public:
  explicit Envelope(std::string_view body) : object_(asObject(parser_.parse(body))) {
    if (object_ || isValidUtf8(body)) return;
    repaired_ = repairUtf8(std::string(body));
    object_ = asObject(parser_.parse(repaired_));
  }

  const json::object* object() const { return object_; }

 private:
  JsonLineParser parser_;
  std::string repaired_;
  const json::object* object_;
};

template <class Data>
Answer<Data> answerIn(std::string_view body, void (*read)(Members data, Data& found)) {
  const Envelope envelope(body);
  if (!envelope.object()) return std::unexpected(unreadable({}));
  const json::value* const data = envelope.object()->if_contains("data");
  const bool hasData = data != nullptr && !data->is_null();
  std::optional<std::string> fault;
  if (hasData) {
    Data found;
    read(Members(asObject(data), fault), found);
    if (!fault) return found;
  }
  if (auto problem = problemOf(*envelope.object())) return std::unexpected(*std::move(problem));
  return std::unexpected(hasData ? unreadable(*std::move(fault)) : Problem{Problem::Kind::graphQL, {}});
}

std::expected<LinearIssuePayload, std::string> readIssue(const json::object& node) {
  std::optional<std::string> fault;
  Members issue(&node, fault);
  Members state = issue.member("state");
  Members team = issue.member("team");
  LinearIssuePayload payload{.id = issue.text("id"),
                             .identifier = issue.text("identifier"),
                             .title = issue.text("title"),
                             .description = issue.optionalText("description"),
                             .priority = issue.integer("priority"),
                             .priorityLabel = issue.text("priorityLabel"),
                             .stateName = state.text("name"),
                             .stateTypeRaw = state.text("type"),
                             .stateColor = state.text("color"),
                             .teamKey = team.text("key"),
                             .teamName = team.text("name"),
                             .projectName = issue.member("project").optionalText("name"),
                             .url = issue.text("url"),
                             .createdAt = issue.date("createdAt"),
                             .updatedAt = issue.date("updatedAt")};
  if (fault) return std::unexpected(*std::move(fault));
  return payload;
}

void readIssues(Members connection, LinearIssuePayloads& found) {
  for (const json::value& value : connection.list("nodes")) {
    const json::object* node = asObject(&value);
    const auto id = node ? stringAt(*node, "id") : std::nullopt;
    if (!id) return connection.complain("an issue has no id");
    if (auto issue = readIssue(*node)) {
      found.issues.push_back(*std::move(issue));
    } else {
      found.unreadable.push_back({.id = std::string(*id), .reason = std::move(issue.error())});
    }
  }
  if (found.issues.empty() && !found.unreadable.empty()) connection.complain(found.unreadable.front().reason);
}

}  // namespace

std::string viewerRequest() { return request(kViewerQuery); }
std::string teamsRequest() { return request(kTeamsQuery); }

std::string assignedIssuesRequest(const std::optional<std::string>& after) {
  return request(kAssignedIssuesQuery, {{"after", after ? json::value(*after) : json::value()}});
}

Answer<LinearIdentity> viewerIn(std::string_view body) {
  return answerIn<LinearIdentity>(body, [](Members data, LinearIdentity& found) {
    Members viewer = data.member("viewer");
    Members organization = data.member("organization");
    found = {
        .viewer = {.id = viewer.text("id"), .name = viewer.text("name"), .email = viewer.word("email")},
        .organization = {
            .id = organization.text("id"), .name = organization.text("name"), .urlKey = organization.word("urlKey")}};
  });
}

Answer<std::vector<LinearTeamPayload>> teamsIn(std::string_view body) {
  return answerIn<std::vector<LinearTeamPayload>>(body, [](Members data, std::vector<LinearTeamPayload>& found) {
    for (const json::value& value : data.member("teams").list("nodes")) {
      Members team = data.element(value);
      found.push_back({.id = team.text("id"),
                       .key = team.text("key"),
                       .name = team.text("name"),
                       .color = team.optionalText("color")});
    }
  });
}

Answer<LinearIssuesPage> assignedIssuesIn(std::string_view body) {
  return answerIn<LinearIssuesPage>(body, [](Members data, LinearIssuesPage& found) {
    Members assigned = data.member("viewer").member("assignedIssues");
    Members pageInfo = assigned.member("pageInfo");
    found.pageInfo = {.hasNextPage = pageInfo.boolean("hasNextPage"), .endCursor = pageInfo.optionalText("endCursor")};
    readIssues(assigned, found.issues);
  });
}

std::optional<Problem> problemIn(std::string_view body) {
  const Envelope envelope(body);
  return envelope.object() ? problemOf(*envelope.object()) : std::nullopt;
}

}  // namespace ravant::linear
