#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "core/id.hpp"
#include "platform/clock/clock.hpp"

namespace ravant {

/// What an integration's page showed last.
enum class GithubIntegrationSelectedContent { pulls, issues, actions };
std::string_view rawValue(GithubIntegrationSelectedContent content);
std::optional<GithubIntegrationSelectedContent> githubIntegrationSelectedContentFromRawValue(std::string_view text);

/// An account at a GitHub host. Its token is in the key store.
struct GithubIntegration {
  GithubIntegrationId id;
  std::string host;  ///< in small letters, with the port where it is not the usual one
  std::string username;
  Timestamp createdAt;
  GithubIntegrationSelectedContent lastSelectedContent = GithubIntegrationSelectedContent::pulls;

  bool operator==(const GithubIntegration&) const = default;
};

/// Whether the text is `owner/name`, of letters that the site lets a name have: nothing in it means more in an address
/// or a search.
bool isRepositoryName(std::string_view text);

/// A repository that an account reaches.
struct GithubRepository {
  GithubRepositoryId id;
  GithubIntegrationId integration;
  std::int64_t repositoryID;  ///< GitHub's own
  std::string name;
  std::string fullName;  ///< `owner/name`
  bool isPrivate;
  std::optional<Timestamp> pushedAt;

  bool operator==(const GithubRepository&) const = default;
};

/// A pull request as the sync that last returned it saw it.
struct GithubPullRequest {
  GithubPullRequestId id;
  GithubIntegrationId integration;
  std::int64_t number;
  std::string title;
  std::string url;
  bool isDraft;
  bool merged;
  bool closed;  ///< also of one that is merged
  std::string repositoryName;
  std::optional<std::string> authorUsername;        ///< absent where the user was deleted
  std::optional<std::string> authorUsernameFolded;  ///< for comparing
  std::optional<std::string> reviewDecisionRaw;     ///< as GitHub writes it
  std::optional<std::string> checkStateRaw;         ///< as GitHub writes it
  bool involvesMe;
  Timestamp syncedAt;

  bool operator==(const GithubPullRequest&) const = default;
};

/// What a pull request says and changes, as it was when it was fetched.
struct GithubPullDetailCache {
  GithubPullDetailCacheId id;
  GithubIntegrationId integration;  ///< whose account saw it
  std::string pullURL;
  std::optional<std::string> bodyText;
  std::string filesData;  ///< JSON: the list of changed files as GitHub gave it
  Timestamp fetchedAt;

  bool operator==(const GithubPullDetailCache&) const = default;
};

}  // namespace ravant
