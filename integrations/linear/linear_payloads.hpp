#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/clock/clock.hpp"

namespace ravant {

/// What Linear answers, as its client hands it on.

struct LinearViewer {
  std::string id;
  std::string name;
  std::string email;

  bool operator==(const LinearViewer&) const = default;
};

struct LinearOrganization {
  std::string id;
  std::string name;
  std::string urlKey;

  bool operator==(const LinearOrganization&) const = default;
};

/// Whose key it is, and of which workspace.
struct LinearIdentity {
  LinearViewer viewer;
  LinearOrganization organization;

  bool operator==(const LinearIdentity&) const = default;
};

struct LinearTeamPayload {
  std::string id;
  std::string key;
  std::string name;
  std::optional<std::string> color;

  bool operator==(const LinearTeamPayload&) const = default;
};

/// As many teams as are asked for; there can be more.
inline constexpr std::size_t kMostLinearTeams = 100;

struct LinearIssuePayload {
  std::string id;
  std::string identifier;
  std::string title;
  std::optional<std::string> description;
  std::int64_t priority;
  std::string priorityLabel;
  std::string stateName;
  std::string stateTypeRaw;
  std::string stateColor;
  std::string teamKey;
  std::string teamName;
  std::optional<std::string> projectName;
  std::string url;
  Timestamp createdAt;
  Timestamp updatedAt;

  bool operator==(const LinearIssuePayload&) const = default;
};

/// An issue that is there and not as it has to be.
struct LinearUnreadableIssue {
  std::string id;
  std::string reason;

  bool operator==(const LinearUnreadableIssue&) const = default;
};

struct LinearIssuePayloads {
  std::vector<LinearIssuePayload> issues;
  std::vector<LinearUnreadableIssue> unreadable = {};

  bool operator==(const LinearIssuePayloads&) const = default;
};

struct LinearPageInfo {
  bool hasNextPage = false;
  std::optional<std::string> endCursor = {};

  bool operator==(const LinearPageInfo&) const = default;
};

struct LinearIssuesPage {
  LinearIssuePayloads issues;
  LinearPageInfo pageInfo;

  bool operator==(const LinearIssuesPage&) const = default;
};

}  // namespace ravant
