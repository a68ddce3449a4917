#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <variant>

#include "core/id.hpp"
#include "core/integrations/github_content_filter.hpp"
#include "core/integrations/linear_integration.hpp"
#include "platform/clock/clock.hpp"

namespace ravant {

/// The pull requests of an account that a filter lets through.
struct GithubPullRequestsPinnedItem {
  GithubIntegrationId integration;
  GithubContentFilter filter;

  bool operator==(const GithubPullRequestsPinnedItem&) const = default;
};

/// The issues of one team of a workspace, in an order.
struct LinearIssuesPinnedItem {
  LinearIntegrationId integration;
  std::string teamKey;
  std::string teamName;
  LinearIssuesSortOrder sortOrder = LinearIssuesSortOrder::lastUpdated;

  bool operator==(const LinearIssuesPinnedItem&) const = default;
};

/// A view of an integration that the user keeps in the sidebar.
struct PinnedItem {
  using Detail = std::variant<GithubPullRequestsPinnedItem, LinearIssuesPinnedItem>;

  PinnedItemId id;
  std::int64_t sidebarOrder;
  std::optional<std::string> customTitle;
  Timestamp createdAt;
  Detail detail;

  bool operator==(const PinnedItem&) const = default;
};

/// The title that the user gave it, or one that tells what it shows.
std::string displayTitle(const PinnedItem& item);

}  // namespace ravant
