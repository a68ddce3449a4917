#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/clock/clock.hpp"

namespace ravant {

/// What GitHub answers, as its client hands it on.

struct GithubUser {
  std::string login;
  std::int64_t id;
  std::optional<std::string> name;

  bool operator==(const GithubUser&) const = default;
};

struct GithubRepositoryPayload {
  std::int64_t id;
  std::string name;
  std::string fullName;
  bool isPrivate;
  std::optional<Timestamp> pushedAt;

  bool operator==(const GithubRepositoryPayload&) const = default;
};

struct GithubPullRequestBodyPayload {
  std::optional<std::string> body;

  bool operator==(const GithubPullRequestBodyPayload&) const = default;
};

struct GithubPullFilePayload {
  std::string filename;
  std::optional<std::string> previousFilename;
  std::string status;
  std::int64_t additions;
  std::int64_t deletions;
  std::optional<std::string> patch;  ///< absent for binary or very large files

  bool operator==(const GithubPullFilePayload&) const = default;
};

struct GithubPullReference {
  std::string repositoryName;  ///< `owner/name`
  std::int64_t number;

  bool operator==(const GithubPullReference&) const = default;
};

enum class GithubReviewDecision { approved, changesRequested, reviewRequired };
std::string_view rawValue(GithubReviewDecision decision);
std::optional<GithubReviewDecision> githubReviewDecisionFromRawValue(std::string_view text);

enum class GithubCheckState { success, failure, pending, error, expected };
std::string_view rawValue(GithubCheckState state);
std::optional<GithubCheckState> githubCheckStateFromRawValue(std::string_view text);

/// A value that is not known is dropped.
struct GithubPullRequestPayload {
  std::string id;
  std::int64_t number;
  std::string title;
  std::string url;
  bool isDraft;
  bool merged;
  bool closed;
  std::string repositoryName;
  std::optional<std::string> authorLogin;
  std::optional<GithubReviewDecision> reviewDecision;
  std::optional<GithubCheckState> checkState;

  bool operator==(const GithubPullRequestPayload&) const = default;
};

struct PageInfo {
  bool hasNextPage = false;
  std::optional<std::string> endCursor = {};

  bool operator==(const PageInfo&) const = default;
};

struct GithubSearchPage {
  std::vector<GithubPullRequestPayload> pulls;
  PageInfo pageInfo;
  /// Nodes of the page that are none, or that could not be read.
  std::size_t skipped = 0;
  std::string messages = {};  ///< what GitHub says of what it did not return

  bool operator==(const GithubSearchPage&) const = default;
};

/// What came of references, in their order.
struct GithubReferencedPulls {
  std::vector<GithubPullRequestPayload> pulls;
  /// Those that GitHub says do not exist for this account. One that failed for another reason is in neither list.
  std::vector<GithubPullReference> vanished;
  std::string messages = {};  ///< what GitHub says of what it did not return

  bool operator==(const GithubReferencedPulls&) const = default;
};

struct GithubPullDetail {
  std::optional<std::string> body;
  std::vector<GithubPullFilePayload> files;

  bool operator==(const GithubPullDetail&) const = default;
};

/// An account that `gh` is logged in to.
struct GithubAccount {
  std::string host;
  std::string username;
  bool isActive;
  std::optional<std::string> inlineToken;  ///< a secret

  bool operator==(const GithubAccount&) const = default;
};

}  // namespace ravant
