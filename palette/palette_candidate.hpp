#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "core/id.hpp"
#include "core/window/window_command.hpp"

namespace ravant {

/// Where an entry of the palette stands, in the order of the sections.
enum class PaletteSection {
  recent,
  commands,
  conversations,
  projects,
  pinned,
  integrations,
  linearIssues,
  pullRequests
};
inline constexpr std::size_t kPaletteSections = 8;
std::string_view title(PaletteSection section);

struct ConversationTarget {
  ConversationId conversation;
  ProjectId project;

  bool operator==(const ConversationTarget&) const = default;
};

struct LinearIssueTarget {
  LinearIssueId issue;
  LinearIntegrationId integration;

  bool operator==(const LinearIssueTarget&) const = default;
};

struct GithubPullTarget {
  GithubPullRequestId pull;
  GithubIntegrationId integration;

  bool operator==(const GithubPullTarget&) const = default;
};

/// What choosing an entry leads to.
using PaletteTarget = std::variant<WindowCommand, ConversationTarget, ProjectId, PinnedItemId, GithubIntegrationId,
                                   LinearIntegrationId, LinearIssueTarget, GithubPullTarget>;

PaletteSection sectionOf(const PaletteTarget& target);
std::string itemID(const PaletteTarget& target);

/// Whether its own section lists it, or only "Recent": an archived conversation, a closed pull request.
enum class PaletteListing { section, recentOnly };

/// Something that the palette can find.
struct PaletteCandidate {
  std::string id;
  PaletteTarget target;
  std::string title;
  std::optional<std::string> subtitle;
  std::vector<std::string> folded;  ///< the texts in which a query is looked for
  PaletteListing listing = PaletteListing::section;
  std::int64_t order = 0;  ///< the source's: the smaller, the earlier among those that are found and used alike

  bool operator==(const PaletteCandidate&) const = default;
};

inline constexpr std::string_view kNewConversationPrefix = "New Conversation";

/// Texts of any kind, made one line. `alsoFound` are looked into beside the title.
PaletteCandidate paletteCandidate(PaletteTarget target, std::string_view title, std::string_view subtitle,
                                  const std::vector<std::string>& alsoFound = {});
PaletteCandidate projectCandidate(ProjectId project, std::string_view name, std::string_view path);

}  // namespace ravant
