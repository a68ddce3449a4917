#include "cli/command/lookup.hpp"

#include <fmt/ranges.h>

#include <algorithm>
#include <cctype>
#include <ranges>

#include "cli/command/project_folder.hpp"
#include "cli/output/command_error.hpp"
#include "cli/output/conversation_text.hpp"
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

std::string describe(const ConversationSummary& summary) {
  return fmt::format("{} ({})", summary.conversation.id.text(), titleOf(summary));
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
  std::string digits = word;
  std::erase(digits, '-');
  if (digits.size() < kShortestPrefix) {
    throw CommandError(fmt::format(
        "\"{}\" is too short for a conversation: give its id or at least {} characters of it", word, kShortestPrefix));
  }
  std::vector<ConversationSummary> found;
  if (std::ranges::all_of(digits, [](unsigned char c) { return std::isxdigit(c); })) {
    std::ranges::transform(digits, digits.begin(), [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    found = co_await application.conversations().conversationsWithPrefix(digits);
  }
  std::vector<ConversationSummary> latest;
  if (found.empty()) {
    latest = co_await application.conversations().conversations(
        {.archived = ArchivedConversations::included, .limit = kCandidatesShown + 1});
  }
  co_return only(std::move(found), latest, "conversation", word, describe);
}

awaitable<std::optional<ProjectId>> findOptionalProject(Application& application, std::optional<std::string> word) {
  if (!word) co_return std::nullopt;
  const Project project = co_await findProject(application, *std::move(word));
  co_return project.id;
}

std::optional<std::string> titleFrom(std::string_view words) {
  const std::string_view title = trimmed(words);
  return title.empty() ? std::nullopt : std::optional<std::string>(title);
}

}  // namespace ravant::cli
