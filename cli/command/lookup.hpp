#pragma once

#include "app/application.hpp"

namespace ravant::cli {

/// What the words of a command line name. All throw `CommandError`, which lists the candidates, for a word that is
/// unknown or ambiguous.

/// By id, name or folder path.
awaitable<Project> findProject(Application& application, std::string word);

/// By id or type.
awaitable<Agent> findAgent(Application& application, std::string word);
/// The same; where several agents are of the type, the only one that is enabled.
awaitable<Agent> findUsableAgent(Application& application, std::string word);

/// By id or a prefix of it.
awaitable<ConversationSummary> findConversation(Application& application, std::string word);

/// By `USERNAME@HOST`, by the username alone, or by id.
awaitable<GithubIntegration> findGithubIntegration(Application& application, std::string word);

/// By the workspace's URL key or by id.
awaitable<LinearIntegration> findLinearIntegration(Application& application, std::string word);
/// How that one is typed: by its URL key, or by its id where another user's has the same key.
awaitable<std::string> wordFor(Application& application, LinearIntegration workspace);

/// A team whose key `LinearIssue` and `LinearIssuesPinnedItem` have.
struct LinearTeamName {
  std::string key;
  std::string name;
};
/// By key: a team of the workspace, or of one of the stored issues.
awaitable<LinearTeamName> findLinearTeam(Application& application, LinearIntegration workspace, std::string word);

/// By id, a prefix of it, or the title under which it is shown.
awaitable<PinnedItem> findPin(Application& application, std::string word);

/// The word's project, or all where there is no word.
awaitable<std::optional<ProjectId>> findOptionalProject(Application& application, std::optional<std::string> word);

}  // namespace ravant::cli
