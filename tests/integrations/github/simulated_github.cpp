#include "tests/integrations/github/simulated_github.hpp"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <charconv>
#include <ranges>
#include <sstream>

namespace ravant::test {
namespace {

constexpr std::size_t kPage = 30;
constexpr std::size_t kMostResults = 1000;
constexpr std::size_t kFilePage = 100;

std::string folded(std::string_view text) {
  std::string letters(text);
  for (char& letter : letters) letter = static_cast<char>(std::tolower(static_cast<unsigned char>(letter)));
  return letters;
}

json::value orNull(const std::optional<std::string>& text) { return text ? json::value(*text) : json::value(nullptr); }

std::string decoded(std::string_view text) {
  std::string plain;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '%') {
      plain += text[i];
      continue;
    }
    int code = 0;
    std::from_chars(text.data() + i + 1, text.data() + std::min(i + 3, text.size()), code, 16);
    plain += static_cast<char>(code);
    i += 2;
  }
  return plain;
}

/// The path, and the parameters behind it.
std::pair<std::string, std::map<std::string, std::string>> splitTarget(std::string_view target) {
  const std::size_t mark = std::min(target.find('?'), target.size());
  std::map<std::string, std::string> parameters;
  for (const auto part : target.substr(std::min(mark + 1, target.size())) | std::views::split('&')) {
    const std::string_view text(part.begin(), part.end());
    const std::size_t equals = std::min(text.find('='), text.size());
    parameters.emplace(text.substr(0, equals), decoded(text.substr(std::min(equals + 1, text.size()))));
  }
  return {decoded(target.substr(0, mark)), parameters};
}

json::object node(const SimulatedPull& pull) {
  json::array commits;
  if (pull.checkState) {
    commits.push_back(json::object{{"commit", {{"statusCheckRollup", {{"state", *pull.checkState}}}}}});
  } else {
    commits.push_back(json::object{{"commit", {{"statusCheckRollup", nullptr}}}});
  }
  return {{"id", pull.id},
          {"number", pull.number},
          {"title", pull.title},
          {"url", fmt::format("https://github.com/{}/pull/{}", pull.repository, pull.number)},
          {"isDraft", pull.isDraft},
          {"merged", pull.merged},
          {"closed", pull.closed},
          {"repository", {{"nameWithOwner", pull.repository}}},
          {"author", pull.author ? json::value(json::object{{"login", *pull.author}}) : json::value(nullptr)},
          {"reviewDecision", orNull(pull.reviewDecision)},
          {"commits", {{"nodes", commits}}}};
}

json::object error(std::string_view type, json::array path, std::string_view message) {
  return {{"type", type}, {"path", std::move(path)}, {"message", message}};
}

constexpr std::string_view kHidden = "Resource protected by organization SAML enforcement.";

std::string nameOf(const SimulatedPull& pull) { return fmt::format("{}#{}", pull.repository, pull.number); }

bool isAuthor(const SimulatedPull& pull, const std::string& user) {
  return pull.author && folded(*pull.author) == folded(user);
}

bool isInvolved(const SimulatedPull& pull, const std::string& user) {
  return isAuthor(pull, user) || pull.assignees.contains(user) || pull.mentioned.contains(user) ||
         pull.commenters.contains(user);
}

/// Whether a term of a search lets the pull request through, as the documentation of the search has it; nothing for a
/// term that it does not have.
std::optional<bool> letsThrough(std::string_view term, const SimulatedPull& pull, const std::string& user) {
  const auto checkIs = [&pull](std::initializer_list<std::string_view> states) {
    return pull.checkState && std::ranges::find(states, *pull.checkState) != states.end();
  };
  if (term == "is:pr" || term == "sort:updated-desc") return true;
  if (term == "state:open") return !pull.closed && !pull.merged;
  if (term == "is:merged") return pull.merged;
  if (term == "is:closed") return pull.closed;
  if (term == "is:unmerged") return !pull.merged;
  if (term == "involves:@me") return isInvolved(pull, user);
  if (term == "author:@me") return isAuthor(pull, user);
  if (term == "assignee:@me") return pull.assignees.contains(user);
  if (term == "review-requested:@me") return pull.reviewRequests.contains(user);
  if (term == "mentions:@me") return pull.mentioned.contains(user);
  if (term == "review:none") return !pull.reviewDecision && !pull.reviewedWithoutDecision;
  if (term == "review:required") return pull.reviewDecision == "REVIEW_REQUIRED";
  if (term == "review:approved") return pull.reviewDecision == "APPROVED";
  if (term == "review:changes_requested") return pull.reviewDecision == "CHANGES_REQUESTED";
  if (term == "status:success") return checkIs({"SUCCESS"});
  if (term == "status:failure") return checkIs({"FAILURE", "ERROR"});
  if (term == "status:pending") return checkIs({"PENDING", "EXPECTED"});
  if (term == "draft:true") return pull.isDraft;
  if (term == "draft:false") return !pull.isDraft;
  return std::nullopt;
}

std::string notFound() { return R"({"message":"Not Found","documentation_url":"https://docs.github.com/rest"})"; }

}  // namespace

SimulatedGithub::SimulatedGithub()
    : server_([this](const auto& request, auto& connection) { answer(request, connection); }) {
  addUser(std::string(kLogin), std::string(kToken));
  addRepository({.fullName = "octo/tools"});
}

void SimulatedGithub::addUser(std::string login, std::string token) {
  const std::lock_guard lock(mutex_);
  loginOfToken_.insert_or_assign(std::move(token), std::move(login));
}

void SimulatedGithub::addRepository(SimulatedRepository repository) {
  const std::lock_guard lock(mutex_);
  const std::string key = folded(repository.fullName);
  repository.id = ++lastRepository_;
  repositories_.insert_or_assign(key, std::move(repository));
}

void SimulatedGithub::renameRepository(const std::string& from, const std::string& to) {
  const std::lock_guard lock(mutex_);
  auto repository = repositories_.extract(folded(from));
  repository.key() = folded(to);
  repository.mapped().fullName = to;
  repositories_.insert(std::move(repository));
  newNames_[folded(from)] = to;
  if (auto pulls = pulls_.extract(folded(from))) {
    pulls.key() = folded(to);
    for (SimulatedPull& pull : pulls.mapped() | std::views::values) pull.repository = to;
    pulls_.insert(std::move(pulls));
  }
}

void SimulatedGithub::removeRepository(const std::string& fullName) {
  const std::lock_guard lock(mutex_);
  repositories_.erase(folded(fullName));
  pulls_.erase(folded(fullName));
}

std::int64_t SimulatedGithub::addPull(SimulatedPull pull) {
  const std::lock_guard lock(mutex_);
  if (!repositories_.contains(folded(pull.repository))) {
    repositories_[folded(pull.repository)] = {.fullName = pull.repository, .id = ++lastRepository_};
  }
  auto& pulls = pulls_[folded(pull.repository)];
  if (pull.number == 0) pull.number = pulls.empty() ? 1 : pulls.rbegin()->first + 1;
  pull.updated = ++changes_;
  pull.id = fmt::format("PR_kwDO{:08}", changes_);
  const std::int64_t number = pull.number;
  pulls.insert_or_assign(number, std::move(pull));
  return number;
}

void SimulatedGithub::change(const std::string& repository, std::int64_t number,
                             const std::function<void(SimulatedPull&)>& change) {
  const std::lock_guard lock(mutex_);
  SimulatedPull& pull = pulls_.at(folded(repository)).at(number);
  change(pull);
  pull.updated = ++changes_;
}

std::vector<std::string> SimulatedGithub::found(std::string_view query, std::string_view login) const {
  const std::lock_guard lock(mutex_);
  std::vector<std::string> names;
  for (const SimulatedPull* pull : matching(query, login)) names.push_back(nameOf(*pull));
  return names;
}

std::set<std::string> SimulatedGithub::reviewedWithoutDecision() const {
  const std::lock_guard lock(mutex_);
  std::set<std::string> names;
  for (const auto& pulls : pulls_ | std::views::values) {
    for (const SimulatedPull& pull : pulls | std::views::values) {
      if (pull.reviewedWithoutDecision && !pull.reviewDecision) names.insert(nameOf(pull));
    }
  }
  return names;
}

void SimulatedGithub::intercept(std::function<bool(const HttpServer::Request&, HttpServer::Connection&)> answer) {
  const std::lock_guard lock(mutex_);
  intercept_ = std::move(answer);
}

void SimulatedGithub::setRemaining(const std::string& resource, std::int64_t remaining, Timestamp reset) {
  const std::lock_guard lock(mutex_);
  Limit& limit = limits_.at(resource);
  limit.remaining = remaining;
  limit.reset = std::chrono::duration_cast<std::chrono::seconds>(reset.time_since_epoch()).count();
}

void SimulatedGithub::answer(const HttpServer::Request& request, HttpServer::Connection& connection) {
  std::function<bool(const HttpServer::Request&, HttpServer::Connection&)> intercept;
  {
    const std::lock_guard lock(mutex_);
    intercept = intercept_;
  }
  if (intercept && intercept(request, connection)) return;

  const std::lock_guard lock(mutex_);
  const std::string authorization = request.header("Authorization").value_or("");
  const auto user =
      authorization.starts_with("Bearer ") ? loginOfToken_.find(authorization.substr(7)) : loginOfToken_.end();
  if (user == loginOfToken_.end()) return connection.respond(401, {}, R"({"message":"Bad credentials"})");

  const std::string resource = request.target == "/graphql" ? "graphql" : "core";
  Limit& limit = limits_.at(resource);
  const bool isSpent = limit.remaining <= 0;
  if (!isSpent) {
    --limit.remaining;
    ++limit.used;
  }
  Answer answer = isSpent ? refusalOf(resource) : answerOf(request, user->second);
  answer.headers.insert(answer.headers.end(), {{"Content-Type", "application/json; charset=utf-8"},
                                               {"X-RateLimit-Limit", "5000"},
                                               {"X-RateLimit-Remaining", std::to_string(limit.remaining)},
                                               {"X-RateLimit-Used", std::to_string(limit.used)},
                                               {"X-RateLimit-Reset", std::to_string(limit.reset)},
                                               {"X-RateLimit-Resource", resource}});
  connection.respond(answer.status, answer.headers, answer.body);
}

SimulatedGithub::Answer SimulatedGithub::refusalOf(const std::string& resource) {
  if (resource == "core") return {403, R"({"message":"API rate limit exceeded for user ID 1."})"};
  return {200, R"({"errors":[{"type":"RATE_LIMIT","code":"graphql_rate_limit",)"
               R"("message":"API rate limit already exceeded for user ID 1."}]})"};
}

SimulatedGithub::Answer SimulatedGithub::answerOf(const HttpServer::Request& request, const std::string& login) const {
  EXPECT_EQ(request.header("Accept"), "application/vnd.github+json");
  const auto [path, parameters] = splitTarget(request.target);
  if (path == "/graphql") {
    const auto body = parseJson(request.body);
    if (request.method == "POST" && body && body->is_object()) return graphQL(body->get_object(), login);
    ADD_FAILURE() << "no GraphQL request: " << request.body;
    return {400, R"({"message":"Problems parsing JSON"})"};
  }
  EXPECT_EQ(request.method, "GET");
  if (path == "/user") return {200, compactJson(json::object{{"login", login}, {"id", 1}, {"name", nullptr}})};
  if (path == "/user/repos") return repositories(parameters);
  if (path.starts_with("/repos/")) return pullRequest(path, parameters);
  return {404, notFound()};
}

SimulatedGithub::Answer SimulatedGithub::graphQL(const json::object& body, const std::string& login) const {
  const auto query = stringAt(body, "query");
  const json::object* variables = objectAt(body, "variables");
  if (query && variables != nullptr && query->contains("search(query: $q, type: ISSUE, first: 30, after: $after)")) {
    return searched(*variables, login);
  }
  if (query && variables != nullptr && query->contains("pullRequest(number: ")) return referenced(*query, *variables);
  ADD_FAILURE() << "an unknown query: " << query.value_or("none");
  return {200, R"({"errors":[{"message":"A query attribute must be specified and must be a string."}]})"};
}

SimulatedGithub::Answer SimulatedGithub::searched(const json::object& variables, const std::string& login) const {
  auto pulls = matching(stringAt(variables, "q").value_or(""), login);
  if (pulls.size() > kMostResults) pulls.resize(kMostResults);
  std::size_t begin = 0;
  if (const auto after = stringAt(variables, "after")) {
    EXPECT_TRUE(after->starts_with("cursor:")) << *after;
    std::from_chars(after->data() + 7, after->data() + after->size(), begin);
  }
  begin = std::min(begin, pulls.size());
  const std::size_t end = std::min(begin + kPage, pulls.size());
  json::array nodes;
  json::array errors;
  for (std::size_t i = begin; i < end; ++i) {
    nodes.emplace_back(pulls[i]->isHidden ? json::value(nullptr) : json::value(node(*pulls[i])));
    if (pulls[i]->isHidden) errors.push_back(error("FORBIDDEN", {"search", "nodes", i - begin}, kHidden));
  }
  const json::value cursor = nodes.empty() ? json::value(nullptr) : json::value(fmt::format("cursor:{}", end));
  const json::object pageInfo{{"hasNextPage", end < pulls.size()}, {"endCursor", cursor}};
  json::object answer{{"data", {{"search", {{"pageInfo", pageInfo}, {"nodes", nodes}}}}}};
  if (!errors.empty()) answer["errors"] = errors;
  return {200, compactJson(answer)};
}

SimulatedGithub::Answer SimulatedGithub::referenced(std::string_view query, const json::object& variables) const {
  json::object data;
  json::array errors;
  std::size_t count = 0;
  for (; variables.contains(fmt::format("o{}", count)); ++count) {
    const std::string alias = fmt::format("a{}", count);
    EXPECT_TRUE(query.contains(
        fmt::format("{0}: repository(owner: $o{1}, name: $n{1}) {{ pullRequest(number: $p{1})", alias, count)))
        << query;
    const std::string name =
        currentName(fmt::format("{}/{}", stringAt(variables, fmt::format("o{}", count)).value_or(""),
                                stringAt(variables, fmt::format("n{}", count)).value_or("")));
    const SimulatedPull* found = pull(name, integerAt(variables, fmt::format("p{}", count)).value_or(0));
    if (found != nullptr && found->isHidden) {
      data[alias] = nullptr;
      errors.push_back(error("FORBIDDEN", {alias}, kHidden));
    } else if (found != nullptr) {
      data[alias] = json::object{{"pullRequest", node(*found)}};
    } else if (repositories_.contains(folded(name))) {
      data[alias] = json::object{{"pullRequest", nullptr}};
      errors.push_back(
          error("NOT_FOUND", {alias, "pullRequest"}, "Could not resolve to a PullRequest with the number of 1."));
    } else {
      data[alias] = nullptr;
      errors.push_back(
          error("NOT_FOUND", {alias}, fmt::format("Could not resolve to a Repository with the name '{}'.", name)));
    }
  }
  EXPECT_LE(count, 50U) << "more than fits one request";
  json::object answer{{"data", data}};
  if (!errors.empty()) answer["errors"] = errors;
  return {200, compactJson(answer)};
}

SimulatedGithub::Answer SimulatedGithub::repositories(const std::map<std::string, std::string>& parameters) const {
  const auto at = [&parameters](const std::string& key) {
    const auto found = parameters.find(key);
    return found == parameters.end() ? std::string() : found->second;
  };
  EXPECT_EQ(at("per_page"), "30");
  EXPECT_EQ(at("affiliation"), "owner,collaborator,organization_member");
  std::vector<const SimulatedRepository*> all;
  for (const SimulatedRepository& repository : repositories_ | std::views::values) all.push_back(&repository);
  if (at("sort") != "full_name") {
    std::ranges::sort(all, {}, [](const auto* repository) { return std::pair(repository->pushedAt, repository->id); });
  }
  if (at("direction") == "desc") std::ranges::reverse(all);
  std::size_t page = 1;
  const std::string wanted = at("page");
  std::from_chars(wanted.data(), wanted.data() + wanted.size(), page);
  json::array list;
  for (const SimulatedRepository* repository : all | std::views::drop((page - 1) * kPage) | std::views::take(kPage)) {
    const std::string& name = repository->fullName;
    list.push_back(json::object{
        {"id", repository->id},
        {"name", name.substr(name.find('/') + 1)},
        {"full_name", name},
        {"private", repository->isPrivate},
        {"pushed_at", repository->pushedAt ? json::value(iso8601(*repository->pushedAt)) : json::value(nullptr)}});
  }
  return {200, compactJson(list)};
}

SimulatedGithub::Answer SimulatedGithub::pullRequest(std::string_view path,
                                                     const std::map<std::string, std::string>& parameters) const {
  std::vector<std::string> parts;
  for (const auto part : path | std::views::split('/')) parts.emplace_back(part.begin(), part.end());
  if (parts.size() < 6 || parts[4] != "pulls") return {404, notFound()};
  const std::string asked = parts[2] + "/" + parts[3];
  const std::string name = currentName(asked);
  std::int64_t number = 0;
  std::from_chars(parts[5].data(), parts[5].data() + parts[5].size(), number);
  const SimulatedPull* found = pull(name, number);
  if (found == nullptr) return {404, notFound()};
  const std::string suffix = parts.size() > 6 ? "/" + parts[6] : "";
  const std::string address = fmt::format("{}/repos/{}/pulls/{}{}", server_.url(), name, number, suffix);
  if (folded(name) != folded(asked)) {
    std::string query;
    for (const auto& [key, value] : parameters) query += fmt::format("{}{}={}", query.empty() ? '?' : '&', key, value);
    return {301, R"({"message":"Moved Permanently"})", {{"Location", address + query}}};
  }
  if (suffix.empty()) {
    json::object all = node(*found);
    all["body"] = orNull(found->body);
    return {200, compactJson(all)};
  }

  EXPECT_EQ(parameters.at("per_page"), "100");
  std::size_t page = 1;
  if (const auto wanted = parameters.find("page"); wanted != parameters.end()) {
    std::from_chars(wanted->second.data(), wanted->second.data() + wanted->second.size(), page);
  }
  json::array list;
  for (const GithubPullFilePayload& file :
       found->files | std::views::drop((page - 1) * kFilePage) | std::views::take(kFilePage)) {
    json::object& object = list.emplace_back(json::object{{"filename", file.filename},
                                                          {"status", file.status},
                                                          {"additions", file.additions},
                                                          {"deletions", file.deletions}})
                               .get_object();
    if (file.previousFilename) object["previous_filename"] = *file.previousFilename;
    if (file.patch) object["patch"] = *file.patch;
  }
  std::vector<HttpHeader> headers;
  if (found->files.size() > page * kFilePage) {
    headers.push_back({"Link", fmt::format("<{0}?per_page=100&page=1>; rel=\"first\", <{0}?per_page=100&page={1}>; "
                                           "rel=\"next\"",
                                           address, page + 1)});
  }
  return {200, compactJson(list), headers};
}

std::vector<const SimulatedPull*> SimulatedGithub::matching(std::string_view query, std::string_view login) const {
  std::set<std::string> names;
  std::vector<std::string> terms;
  std::istringstream words{std::string(query)};
  for (std::string term; words >> term;) {
    if (term.starts_with("repo:")) {
      names.insert(folded(term.substr(5)));
    } else {
      terms.push_back(term);
    }
  }
  const std::string user(login);
  std::vector<const SimulatedPull*> found;
  for (const auto& [repository, pulls] : pulls_) {
    if (!names.empty() && !names.contains(repository)) continue;
    for (const SimulatedPull& pull : pulls | std::views::values) {
      const bool isFound = std::ranges::all_of(terms, [&](const std::string& term) {
        const auto verdict = letsThrough(term, pull, user);
        if (!verdict) ADD_FAILURE() << "an unknown term of a search: " << term;
        return verdict.value_or(false);
      });
      if (isFound) found.push_back(&pull);
    }
  }
  std::ranges::sort(found, std::ranges::greater(), &SimulatedPull::updated);
  return found;
}

std::string SimulatedGithub::currentName(std::string fullName) const {
  while (!repositories_.contains(folded(fullName)) && newNames_.contains(folded(fullName))) {
    fullName = newNames_.at(folded(fullName));
  }
  const auto known = repositories_.find(folded(fullName));
  return known == repositories_.end() ? fullName : known->second.fullName;
}

const SimulatedPull* SimulatedGithub::pull(const std::string& repository, std::int64_t number) const {
  const auto pulls = pulls_.find(folded(repository));
  if (pulls == pulls_.end()) return nullptr;
  const auto found = pulls->second.find(number);
  return found == pulls->second.end() ? nullptr : &found->second;
}

}  // namespace ravant::test
