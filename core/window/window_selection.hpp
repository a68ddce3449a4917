#pragma once

#include <variant>

#include "core/id.hpp"

namespace ravant {

/// Every conversation, the latest activity first.
struct LatestConversations {
  bool operator==(const LatestConversations&) const = default;
};

/// The page on which a conversation is begun in a project.
struct NewConversation {
  ProjectId project;

  bool operator==(const NewConversation&) const = default;
};

/// What the sidebar selected, shown in the content column.
using ContentSelection =
    std::variant<GithubIntegrationId, LinearIntegrationId, ProjectId, PinnedItemId, LatestConversations>;

/// What the detail column shows.
using DetailSelection = std::variant<GithubPullRequestId, LinearIssueId, ConversationId, NewConversation>;

}  // namespace ravant
