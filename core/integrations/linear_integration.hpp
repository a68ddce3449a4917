#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "core/id.hpp"
#include "platform/clock/clock.hpp"

namespace ravant {

/// A Linear workspace and whose key reads it. The key is in the key store.
struct LinearIntegration {
  LinearIntegrationId id;
  std::string workspaceUrlKey;
  std::string workspaceName;
  std::string userName;
  std::string userEmail;
  Timestamp createdAt;

  bool operator==(const LinearIntegration&) const = default;
};

struct LinearTeam {
  LinearTeamId id;
  LinearIntegrationId integration;
  std::string teamID;  ///< Linear's own
  std::string key;     ///< such as ENG
  std::string name;
  std::optional<std::string> colorHex;

  bool operator==(const LinearTeam&) const = default;
};

/// An issue that is assigned to the user and not finished.
struct LinearIssue {
  LinearIssueId id;
  LinearIntegrationId integration;
  std::string issueID;     ///< Linear's own
  std::string identifier;  ///< such as ENG-42
  std::string title;
  std::optional<std::string> descriptionText;
  std::string stateName;
  std::string stateColorHex;
  std::string stateTypeRaw;  ///< triage, backlog, unstarted, started, completed, canceled; others are kept
  std::int64_t priority;     ///< 1, urgent, to 4, low; 0 for none
  std::string priorityLabel;
  std::string teamKey;
  std::string teamName;
  std::optional<std::string> projectName;
  std::string url;
  Timestamp createdAt;
  Timestamp updatedAt;

  bool operator==(const LinearIssue&) const = default;
};

enum class LinearIssuesSortOrder { lastUpdated, created, priority };
inline constexpr std::array kLinearIssuesSortOrders = {LinearIssuesSortOrder::lastUpdated,
                                                       LinearIssuesSortOrder::created, LinearIssuesSortOrder::priority};
std::string_view rawValue(LinearIssuesSortOrder order);
std::optional<LinearIssuesSortOrder> linearIssuesSortOrderFromRawValue(std::string_view text);

}  // namespace ravant
