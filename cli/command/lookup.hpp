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

/// The word's project, or all where there is no word.
awaitable<std::optional<ProjectId>> findOptionalProject(Application& application, std::optional<std::string> word);

/// The title that the user's words give a conversation; none for blank ones.
std::optional<std::string> titleFrom(std::string_view words);

}  // namespace ravant::cli
