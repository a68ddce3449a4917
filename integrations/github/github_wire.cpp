#include "integrations/github/github_wire.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "platform/json/json.hpp"
#include "platform/text/utf8.hpp"

namespace ravant::github {
namespace {

constexpr std::string_view kFragment =
    "fragment PullFields on PullRequest {\n  id\n  number\n  title\n  url\n  isDraft\n  merged\n  closed\n"
    "  repository { nameWithOwner }\n  author { login }\n  reviewDecision\n  commits(last: 1) {\n"
    "    nodes { commit { statusCheckRollup { state } } }\n  }\n}";
constexpr std::string_view kSearchQuery =
    "query($q: String!, $after: String) {\n  search(query: $q, type: ISSUE, first: 30, after: $after) {\n"
    "    pageInfo { hasNextPage endCursor }\n    nodes {\n      ... on PullRequest { ...PullFields }\n    }\n  }\n}\n";

/// A text and the value in it, which lives as long.
class JsonText {
 public:
  explicit JsonText(std::string_view text) : value_(parser_.parse(text)) {
    if (value_ != nullptr || isValidUtf8(text)) return;
    repaired_ = repairUtf8(std::string(text));
    value_ = parser_.parse(repaired_);
  }

  /// Null where it is none.
  const json::object* object() const { return asObject(value_); }
  const json::array* array() const { return value_ == nullptr ? nullptr : value_->if_array(); }

 private:
  JsonLineParser parser_;
  std::string repaired_;
  const json::value* value_;
};

std::optional<std::string> textAt(const json::object& object, std::string_view key) {
  const auto text = stringAt(object, key);
  return text ? std::optional<std::string>(*text) : std::nullopt;
}

/// Nothing also where one of its elements is not read.
template <class Payload>
std::optional<std::vector<Payload>> readList(std::string_view text,
                                             std::optional<Payload> (*read)(const json::object&)) {
  const JsonText parsed(text);
  const json::array* array = parsed.array();
  if (array == nullptr) return std::nullopt;
  std::vector<Payload> list;
  for (const json::value& element : *array) {
    const json::object* object = asObject(&element);
    auto payload = object == nullptr ? std::nullopt : read(*object);
    if (!payload) return std::nullopt;
    list.push_back(*std::move(payload));
  }
  return list;
}

std::optional<GithubRepositoryPayload> readRepository(const json::object& object) {
  const auto id = integerAt(object, "id");
  const auto name = stringAt(object, "name");
  const auto fullName = stringAt(object, "full_name");
  const auto isPrivate = boolAt(object, "private");
  if (!id || !name || !fullName || !isPrivate) return std::nullopt;
  const auto pushedAt = stringAt(object, "pushed_at");
  return GithubRepositoryPayload{.id = *id,
                                 .name = std::string(*name),
                                 .fullName = std::string(*fullName),
                                 .isPrivate = *isPrivate,
                                 .pushedAt = pushedAt ? parseIso8601(*pushedAt) : std::nullopt};
}

std::optional<GithubPullFilePayload> readFile(const json::object& object) {
  const auto filename = stringAt(object, "filename");
  const auto status = stringAt(object, "status");
  const auto additions = integerAt(object, "additions");
  const auto deletions = integerAt(object, "deletions");
  if (!filename || !status || !additions || !deletions) return std::nullopt;
  return GithubPullFilePayload{.filename = std::string(*filename),
                               .previousFilename = textAt(object, "previous_filename"),
                               .status = std::string(*status),
                               .additions = *additions,
                               .deletions = *deletions,
                               .patch = textAt(object, "patch")};
}

std::optional<GithubAccount> readAccount(const json::object& entry, std::string_view hostKey) {
  const auto login = stringAt(entry, "login");
  if (!login || login->empty()) return std::nullopt;
  auto token = textAt(entry, "token");
  if (token && token->empty()) token.reset();
  return GithubAccount{.host = std::string(stringAt(entry, "host").value_or(hostKey)),
                       .username = std::string(*login),
                       .isActive = boolAt(entry, "active").value_or(false),
                       .inlineToken = std::move(token)};
}

std::optional<GithubCheckState> checkStateOf(const json::object& pull) {
  const json::object* commits = objectAt(pull, "commits");
  const json::array* nodes = commits == nullptr ? nullptr : arrayAt(*commits, "nodes");
  const json::object* node = nodes == nullptr || nodes->empty() ? nullptr : asObject(&nodes->front());
  const json::object* commit = node == nullptr ? nullptr : objectAt(*node, "commit");
  const json::object* rollup = commit == nullptr ? nullptr : objectAt(*commit, "statusCheckRollup");
  const auto state = rollup == nullptr ? std::nullopt : stringAt(*rollup, "state");
  return state ? githubCheckStateFromRawValue(*state) : std::nullopt;
}

std::optional<GithubPullRequestPayload> readPull(const json::object& pull) {
  const auto id = stringAt(pull, "id");
  const auto number = integerAt(pull, "number");
  const auto title = stringAt(pull, "title");
  const auto url = stringAt(pull, "url");
  const auto isDraft = boolAt(pull, "isDraft");
  const auto merged = boolAt(pull, "merged");
  const auto closed = boolAt(pull, "closed");
  const json::object* repository = objectAt(pull, "repository");
  const auto repositoryName = repository == nullptr ? std::nullopt : stringAt(*repository, "nameWithOwner");
  if (!id || !number || !title || !url || !isDraft || !merged || !closed || !repositoryName) return std::nullopt;
  const json::object* author = objectAt(pull, "author");
  const auto decision = stringAt(pull, "reviewDecision");
  return GithubPullRequestPayload{
      .id = std::string(*id),
      .number = *number,
      .title = std::string(*title),
      .url = std::string(*url),
      .isDraft = *isDraft,
      .merged = *merged,
      .closed = *closed,
      .repositoryName = std::string(*repositoryName),
      .authorLogin = author == nullptr ? std::nullopt : textAt(*author, "login"),
      .reviewDecision = decision ? githubReviewDecisionFromRawValue(*decision) : std::nullopt,
      .checkState = checkStateOf(pull)};
}

struct GraphQLError {
  std::string message;
  std::string type;
  std::string code;
  std::optional<std::string> alias;  ///< of the part of the data that it is about, where it says so
};

GraphQLError readError(const json::object& object) {
  GraphQLError error{.message = textAt(object, "message").value_or(""),
                     .type = textAt(object, "type").value_or(""),
                     .code = textAt(object, "code").value_or(""),
                     .alias = std::nullopt};
  const json::array* path = arrayAt(object, "path");
  if (path == nullptr || path->empty()) return error;
  if (const auto* alias = path->front().if_string()) error.alias = std::string(*alias);
  return error;
}

std::vector<GraphQLError> readErrors(const json::object& answer) {
  std::vector<GraphQLError> errors;
  const json::array* array = arrayAt(answer, "errors");
  if (array == nullptr) return errors;
  for (const json::value& element : *array) {
    if (const json::object* object = asObject(&element)) errors.push_back(readError(*object));
  }
  return errors;
}

/// Which of the names a host has for it.
bool isOfSpentLimit(const GraphQLError& error) {
  return error.type == "RATE_LIMITED" || error.type == "RATE_LIMIT" || error.code == "graphql_rate_limit";
}

template <class Data>
GraphQLAnswer<Data> answerWithout(const std::vector<GraphQLError>& errors) {
  GraphQLAnswer<Data> answer;
  for (const GraphQLError& error : errors) {
    if (!answer.messages.empty() && !error.message.empty()) answer.messages += "; ";
    answer.messages += error.message;
    answer.isRateLimited = answer.isRateLimited || isOfSpentLimit(error);
  }
  return answer;
}

std::optional<GithubSearchPage> readPage(const json::object& search) {
  const json::object* pageInfo = objectAt(search, "pageInfo");
  const auto hasNextPage = pageInfo == nullptr ? std::nullopt : boolAt(*pageInfo, "hasNextPage");
  const json::array* nodes = arrayAt(search, "nodes");
  if (!hasNextPage || nodes == nullptr) return std::nullopt;
  GithubSearchPage page;
  page.pageInfo.endCursor = textAt(*pageInfo, "endCursor");
  page.pageInfo.hasNextPage = *hasNextPage && page.pageInfo.endCursor;
  for (const json::value& node : *nodes) {
    const json::object* object = asObject(&node);
    auto pull = object == nullptr ? std::nullopt : readPull(*object);
    pull ? page.pulls.push_back(*std::move(pull)) : void(++page.skipped);
  }
  return page;
}

/// Whether what is null is so because it is not there. An error that names no place can be about any.
bool isGone(std::string_view alias, const std::vector<GraphQLError>& errors) {
  return std::ranges::all_of(errors, [&](const GraphQLError& error) {
    return (error.alias && *error.alias != alias) || error.type == "NOT_FOUND";
  });
}

bool isNullAt(const json::object& object, std::string_view key) {
  const json::value* value = object.if_contains(key);
  return value != nullptr && value->is_null();
}

json::object requestOf(std::string_view query, json::object variables) {
  return {{"query", query}, {"variables", std::move(variables)}};
}

}  // namespace

std::optional<GithubUser> parseUser(std::string_view text) {
  const JsonText parsed(text);
  const json::object* object = parsed.object();
  if (object == nullptr) return std::nullopt;
  const auto login = stringAt(*object, "login");
  const auto id = integerAt(*object, "id");
  if (!login || !id) return std::nullopt;
  return GithubUser{.login = std::string(*login), .id = *id, .name = textAt(*object, "name")};
}

std::optional<std::vector<GithubRepositoryPayload>> parseRepositories(std::string_view text) {
  return readList(text, readRepository);
}

std::optional<GithubPullRequestBodyPayload> parsePullRequestBody(std::string_view text) {
  const JsonText parsed(text);
  const json::object* object = parsed.object();
  if (object == nullptr) return std::nullopt;
  return GithubPullRequestBodyPayload{.body = textAt(*object, "body")};
}

std::optional<std::vector<GithubPullFilePayload>> parsePullFiles(std::string_view text) {
  return readList(text, readFile);
}

std::string pullFilesText(std::span<const GithubPullFilePayload> files) {
  json::array array;
  for (const GithubPullFilePayload& file : files) {
    json::object object{{"filename", file.filename},
                        {"status", file.status},
                        {"additions", file.additions},
                        {"deletions", file.deletions}};
    if (file.previousFilename) object.emplace("previous_filename", *file.previousFilename);
    if (file.patch) object.emplace("patch", *file.patch);
    array.push_back(std::move(object));
  }
  return compactJson(std::move(array));
}

std::optional<std::vector<GithubAccount>> parseAccounts(std::string_view text) {
  const JsonText parsed(text);
  const json::object* object = parsed.object();
  const json::object* hosts = object == nullptr ? nullptr : objectAt(*object, "hosts");
  if (hosts == nullptr) return std::nullopt;
  std::vector<GithubAccount> accounts;
  for (const auto& [host, entries] : *hosts) {
    const json::array* list = entries.if_array();
    if (list == nullptr) return std::nullopt;
    for (const json::value& element : *list) {
      const json::object* entry = asObject(&element);
      if (entry == nullptr) return std::nullopt;
      if (auto account = readAccount(*entry, host)) accounts.push_back(*std::move(account));
    }
  }
  return accounts;
}

std::string searchRequest(std::string_view query, const std::optional<std::string>& after) {
  json::object variables{{"q", repairUtf8(std::string(query))}, {"after", nullptr}};
  if (after) variables["after"] = repairUtf8(*after);
  return compactJson(requestOf(fmt::format("{}{}", kSearchQuery, kFragment), std::move(variables)));
}

std::optional<GraphQLAnswer<GithubSearchPage>> parseSearch(std::string_view text) {
  const JsonText parsed(text);
  const json::object* object = parsed.object();
  if (object == nullptr) return std::nullopt;
  const auto errors = readErrors(*object);
  auto answer = answerWithout<GithubSearchPage>(errors);
  const json::object* data = objectAt(*object, "data");
  if (data == nullptr) return answer;
  const json::object* search = objectAt(*data, "search");
  if (search != nullptr) answer.data = readPage(*search);
  return answer.data || !errors.empty() ? std::optional(std::move(answer)) : std::nullopt;
}

std::string referencesRequest(std::span<const GithubPullReference> references) {
  json::object variables;
  for (std::size_t i = 0; i < references.size(); ++i) {
    const std::string name = repairUtf8(references[i].repositoryName);
    const std::size_t slash = std::min(name.find('/'), name.size());
    variables[fmt::format("o{}", i)] = name.substr(0, slash);
    variables[fmt::format("n{}", i)] = name.substr(std::min(slash + 1, name.size()));
    variables[fmt::format("p{}", i)] = references[i].number;
  }
  return compactJson(requestOf(pullRequestsByReferenceQuery(references.size()), std::move(variables)));
}

std::string pullRequestsByReferenceQuery(std::size_t count) {
  std::string variables;
  std::string selections;
  for (std::size_t i = 0; i < count; ++i) {
    variables += fmt::format("{}$o{}: String!, $n{}: String!, $p{}: Int!", i == 0 ? "" : ", ", i, i, i);
    selections +=
        fmt::format("{}a{}: repository(owner: $o{}, name: $n{}) {{ pullRequest(number: $p{}) {{ ...PullFields }} }}",
                    i == 0 ? "" : "\n  ", i, i, i, i);
  }
  return fmt::format("query({}) {{\n  {}\n}}\n{}", variables, selections, kFragment);
}

std::optional<GraphQLAnswer<GithubReferencedPulls>> parseReferenced(std::string_view text,
                                                                    std::span<const GithubPullReference> references) {
  const JsonText parsed(text);
  const json::object* object = parsed.object();
  if (object == nullptr) return std::nullopt;
  const auto errors = readErrors(*object);
  auto answer = answerWithout<GithubReferencedPulls>(errors);
  const json::object* data = objectAt(*object, "data");
  if (data == nullptr) return answer;
  GithubReferencedPulls& pulls = answer.data.emplace();
  for (std::size_t i = 0; i < references.size(); ++i) {
    const std::string alias = fmt::format("a{}", i);
    const json::object* repository = objectAt(*data, alias);
    const json::object* pull = repository == nullptr ? nullptr : objectAt(*repository, "pullRequest");
    const bool isNull = isNullAt(*data, alias) || (repository != nullptr && isNullAt(*repository, "pullRequest"));
    if (isNull && isGone(alias, errors)) pulls.vanished.push_back(references[i]);
    if (pull == nullptr) continue;
    if (auto payload = readPull(*pull)) pulls.pulls.push_back(*std::move(payload));
  }
  return answer;
}

}  // namespace ravant::github
