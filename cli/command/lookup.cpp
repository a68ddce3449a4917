#include "cli/command/lookup.hpp"

#include <fmt/ranges.h>

#include <algorithm>
#include <cctype>
#include <map>
#include <ranges>

#include "cli/command/project_folder.hpp"
#include "cli/output/command_error.hpp"
#include "cli/output/conversation_text.hpp"
#include "cli/output/github_text.hpp"
#include "core/conversation_state.hpp"
#include "platform/text/text.hpp"

namespace ravant::cli {
namespace {

constexpr std::size_t kShortestPrefix = 6;
constexpr std::size_t kCandidatesShown = 8;

/// The only one of `found`; otherwise throws and lists those found, or `all` where there is none.
template <class Entity, class Describe>
Entity only(std::vector<Entity> found, const std::vector<Entity>& all, std::string_view kind, std::string_view word,
            Describe describe) {
  if (found.size() == 1) return std::move(found.front());
  const std::vector<Entity>& shown = found.empty() ? all : found;
  std::vector<std::string> candidates;
  for (const Entity& entity : shown | std::views::take(kCandidatesShown)) candidates.push_back(describe(entity));
  if (shown.size() > kCandidatesShown) candidates.emplace_back("others");
  if (!found.empty()) {
    throw CommandError(
        fmt::format("\"{}\" is ambiguous: it can be the {} {}", word, kind, fmt::join(candidates, " or ")));
  }
  throw CommandError(candidates.empty()
                         ? fmt::format("there is no {} \"{}\", and no other one either", kind, word)
                         : fmt::format("there is no {} \"{}\"; there is {}", kind, word, fmt::join(candidates, ", ")));
}

/// The hexadecimal digits of an id or of a start of one that is long enough; nothing for another word.
std::optional<std::string> digitsOfId(std::string_view word) {
  std::string digits = lowerCase(word);
  std::erase(digits, '-');
  const bool areDigits = std::ranges::all_of(digits, [](unsigned char c) { return std::isxdigit(c); });
  return areDigits && digits.size() >= kShortestPrefix ? std::optional(std::move(digits)) : std::nullopt;
}

std::string describe(const ConversationSummary& summary) {
  return fmt::format("{} ({})", summary.conversation.id.text(), displayTitle(summary));
}

/// Those of that id or type.
std::vector<Agent> agentsNamed(const std::vector<Agent>& all, std::string_view word) {
  const auto id = Uuid::parse(word);
  std::vector<Agent> found;
  std::ranges::copy_if(all, std::back_inserter(found), [&](const Agent& agent) {
    return (id && agent.id == AgentId(*id)) || rawValue(agent.type) == word;
  });
  return found;
}

Agent onlyAgent(std::vector<Agent> found, const std::vector<Agent>& all, std::string_view word) {
  return only(std::move(found), all, "agent", word,
              [](const Agent& agent) { return fmt::format("{} ({})", rawValue(agent.type), agent.id.text()); });
}

}  // namespace

awaitable<Project> findProject(Application& application, std::string word) {
  const std::vector<Project> all = co_await application.projects().projects();
  const auto id = Uuid::parse(word);
  const std::string folder = word.empty() ? std::string() : projectFolder(word).string();
  std::vector<Project> found;
  std::ranges::copy_if(all, std::back_inserter(found), [&](const Project& project) {
    return (id && project.id == ProjectId(*id)) || project.name == word || project.path == folder;
  });
  co_return only(std::move(found), all, "project", word, [](const Project& project) {
    return fmt::format("{} ({}, {})", project.name, project.path, project.id.text());
  });
}

awaitable<Agent> findAgent(Application& application, std::string word) {
  const std::vector<Agent> all = co_await application.agents().agents();
  co_return onlyAgent(agentsNamed(all, word), all, word);
}

awaitable<Agent> findUsableAgent(Application& application, std::string word) {
  const std::vector<Agent> all = co_await application.agents().agents();
  const std::vector<Agent> named = agentsNamed(all, word);
  std::vector<Agent> enabled;
  std::ranges::copy_if(named, std::back_inserter(enabled), &Agent::enabled);
  co_return onlyAgent(enabled.empty() ? named : enabled, all, word);
}

awaitable<ConversationSummary> findConversation(Application& application, std::string word) {
  const auto dashes = static_cast<std::size_t>(std::ranges::count(word, '-'));
  if (word.size() - dashes < kShortestPrefix) {
    throw CommandError(fmt::format(
        "\"{}\" is too short for a conversation: give its id or at least {} characters of it", word, kShortestPrefix));
  }
  std::vector<ConversationSummary> found;
  if (auto digits = digitsOfId(word)) {
    found = co_await application.conversations().conversationsWithPrefix(*std::move(digits));
  }
  std::vector<ConversationSummary> latest;
  if (found.empty()) {
    latest = co_await application.conversations().conversations(
        {.archived = ArchivedConversations::included, .limit = kCandidatesShown + 1});
  }
  co_return only(std::move(found), latest, "conversation", word, describe);
}

awaitable<GithubIntegration> findGithubIntegration(Application& application, std::string word) {
  const auto all = co_await application.github().integrations().integrations();
  const auto id = Uuid::parse(word);
  const std::string name = lowerCase(word);
  std::vector<GithubIntegration> found;
  std::ranges::copy_if(all, std::back_inserter(found), [&](const GithubIntegration& account) {
    return (id && account.id == GithubIntegrationId(*id)) || lowerCase(account.username) == name ||
           lowerCase(accountName(account)) == name;
  });
  co_return only(std::move(found), all, "account", word, accountName);
}

awaitable<LinearIntegration> findLinearIntegration(Application& application, std::string word) {
  const auto all = co_await application.linear().integrations();
  const auto id = Uuid::parse(word);
  std::vector<LinearIntegration> found;
  std::ranges::copy_if(all, std::back_inserter(found), [&](const LinearIntegration& workspace) {
    return (id && workspace.id == LinearIntegrationId(*id)) || workspace.workspaceUrlKey == word;
  });
  co_return only(std::move(found), all, "workspace", word, [](const LinearIntegration& workspace) {
    return fmt::format("{} ({}, {})", workspace.workspaceUrlKey, workspace.userEmail, workspace.id.text());
  });
}

awaitable<std::string> wordFor(Application& application, LinearIntegration workspace) {
  const auto all = co_await application.linear().integrations();
  const bool isOnly = std::ranges::count(all, workspace.workspaceUrlKey, &LinearIntegration::workspaceUrlKey) <= 1;
  co_return isOnly ? workspace.workspaceUrlKey : workspace.id.text();
}

awaitable<LinearTeamName> findLinearTeam(Application& application, LinearIntegration workspace, std::string word) {
  std::map<std::string, std::string> names;
  for (const LinearTeam& team : co_await application.linear().teams(workspace.id)) names.emplace(team.key, team.name);
  const auto order = LinearIssuesSortOrder::lastUpdated;
  for (const LinearIssue& issue : co_await application.linear().issues(workspace.id, std::nullopt, order)) {
    names.emplace(issue.teamKey, issue.teamName);
  }
  if (names.empty()) {
    throw CommandError(fmt::format("no team of the workspace {} is known yet; run: ravant linear teams {} --sync",
                                   workspace.workspaceUrlKey, co_await wordFor(application, workspace)));
  }
  std::vector<LinearTeamName> all;
  for (auto& [key, name] : names) all.push_back({.key = key, .name = std::move(name)});
  std::vector<LinearTeamName> found;
  std::ranges::copy_if(all, std::back_inserter(found),
                       [&](const LinearTeamName& team) { return lowerCase(team.key) == lowerCase(word); });
  co_return only(std::move(found), all, "team", word, [](const LinearTeamName& team) { return team.key; });
}

awaitable<PinnedItem> findPin(Application& application, std::string word) {
  const std::vector<PinnedItem> all = co_await application.pins().pinnedItems();
  const auto digits = digitsOfId(word);
  std::vector<PinnedItem> found;
  std::ranges::copy_if(all, std::back_inserter(found), [&](const PinnedItem& pin) {
    return displayTitle(pin) == word || (digits && digitsOfId(pin.id.text())->starts_with(*digits));
  });
  co_return only(std::move(found), all, "pinned view", word,
                 [](const PinnedItem& pin) { return fmt::format("{} ({})", displayTitle(pin), pin.id.text()); });
}

awaitable<std::optional<ProjectId>> findOptionalProject(Application& application, std::optional<std::string> word) {
  if (!word) co_return std::nullopt;
  const Project project = co_await findProject(application, *std::move(word));
  co_return project.id;
}

}  // namespace ravant::cli
