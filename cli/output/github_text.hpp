#pragma once

#include <optional>
#include <string>
#include <vector>

#include "cli/output/output.hpp"
#include "core/integrations/github_integration.hpp"
#include "integrations/github/github_diff_parser.hpp"
#include "integrations/github/github_service.hpp"

namespace ravant::cli {

/// How an account is typed: `USERNAME@HOST`.
std::string accountName(const GithubIntegration& account);

/// A table of them; nothing where there are none.
std::string repositoriesText(const std::vector<GithubRepository>& repositories, const Style& style);
std::string pullsText(const std::vector<GithubPullRequest>& pulls, const Style& style);

/// How old a list of pull requests is, and what its sync cost.
std::string syncText(const std::optional<GithubSyncRecord>& record, Timestamp now);
/// What such a list lacks; empty where it is whole or not known.
std::string lackText(const std::optional<GithubSyncRecord>& record);

/// What a pull request says and changes.
struct ShownPullRequest {
  std::string repositoryName;
  std::int64_t number;
  std::optional<GithubPullRequest> known;  ///< as a search returned it
  GithubPullRequestDetail detail;
};

json::object jsonForm(const ShownPullRequest& shown);
std::string textForm(const ShownPullRequest& shown, const Style& style);

}  // namespace ravant::cli
