#include "palette/palette_candidate.hpp"

#include <fmt/format.h>

#include <utility>

#include "core/overloaded.hpp"
#include "platform/text/case_folding.hpp"
#include "platform/text/text.hpp"

namespace ravant {

std::string_view title(PaletteSection section) {
  constexpr std::array<std::string_view, kPaletteSections> kTitles = {
      "Recent", "Commands", "Conversations", "Projects", "Pinned", "Integrations", "Linear Issues", "Pull Requests"};
  return kTitles.at(static_cast<std::size_t>(std::to_underlying(section)));
}

PaletteSection sectionOf(const PaletteTarget& target) {
  return std::visit(Overloaded{[](WindowCommand) { return PaletteSection::commands; },
                               [](const ConversationTarget&) { return PaletteSection::conversations; },
                               [](const ProjectId&) { return PaletteSection::projects; },
                               [](const PinnedItemId&) { return PaletteSection::pinned; },
                               [](const GithubIntegrationId&) { return PaletteSection::integrations; },
                               [](const LinearIntegrationId&) { return PaletteSection::integrations; },
                               [](const LinearIssueTarget&) { return PaletteSection::linearIssues; },
                               [](const GithubPullTarget&) { return PaletteSection::pullRequests; }},
                    target);
}

std::string itemID(const PaletteTarget& target) {
  return std::visit(
      Overloaded{[](WindowCommand command) { return fmt::format("command.{}", description(command).name); },
                 [](const ConversationTarget& of) { return fmt::format("conversation.{}", of.conversation.text()); },
                 [](const ProjectId& id) { return fmt::format("project.{}", id.text()); },
                 [](const PinnedItemId& id) { return fmt::format("pinned.{}", id.text()); },
                 [](const GithubIntegrationId& id) { return fmt::format("integration.{}", id.text()); },
                 [](const LinearIntegrationId& id) { return fmt::format("integration.{}", id.text()); },
                 [](const LinearIssueTarget& of) { return fmt::format("linearIssue.{}", of.issue.text()); },
                 [](const GithubPullTarget& of) { return fmt::format("githubPull.{}", of.pull.text()); }},
      target);
}

PaletteCandidate paletteCandidate(PaletteTarget target, std::string_view title, std::string_view subtitle,
                                  const std::vector<std::string>& alsoFound) {
  PaletteCandidate candidate{
      .id = itemID(target), .target = std::move(target), .title = oneLine(title), .subtitle = {}, .folded = {}};
  if (!subtitle.empty()) candidate.subtitle = oneLine(subtitle);
  candidate.folded.push_back(foldCase(candidate.title));
  for (const std::string& text : alsoFound) candidate.folded.push_back(foldCase(oneLine(text)));
  return candidate;
}

PaletteCandidate projectCandidate(ProjectId project, std::string_view name, std::string_view path) {
  PaletteCandidate candidate =
      paletteCandidate(project, fmt::format("{} · {}", kNewConversationPrefix, name), path,
                       {std::string(name), fmt::format("{} {}", kNewConversationPrefix, name)});
  candidate.folded.erase(candidate.folded.begin());  // the dot is for the eyes
  return candidate;
}

}  // namespace ravant
