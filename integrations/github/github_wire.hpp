#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "integrations/github/github_payloads.hpp"

/// What GitHub and its tool `gh` are asked and answer, as JSON. A reader returns nothing for a text that is not what it
/// reads.
namespace ravant::github {

std::optional<GithubUser> parseUser(std::string_view text);
std::optional<std::vector<GithubRepositoryPayload>> parseRepositories(std::string_view text);
std::optional<GithubPullRequestBodyPayload> parsePullRequestBody(std::string_view text);
std::optional<std::vector<GithubPullFilePayload>> parsePullFiles(std::string_view text);
/// What `parsePullFiles` reads.
std::string pullFilesText(std::span<const GithubPullFilePayload> files);

/// The accounts in "gh auth status --json hosts -t".
std::optional<std::vector<GithubAccount>> parseAccounts(std::string_view text);

/// An answer of the GraphQL interface, which can have errors beside its data.
template <class Data>
struct GraphQLAnswer {
  std::optional<Data> data;
  std::string messages;        ///< of the errors, parted by "; "
  bool isRateLimited = false;  ///< as an error says

  bool operator==(const GraphQLAnswer&) const = default;
};

/// The body of a request for a page of a search.
std::string searchRequest(std::string_view query, const std::optional<std::string>& after);
/// Another page is told of only together with its cursor.
std::optional<GraphQLAnswer<GithubSearchPage>> parseSearch(std::string_view text);

/// The body of a request for the pull requests.
std::string referencesRequest(std::span<const GithubPullReference> references);
std::string pullRequestsByReferenceQuery(std::size_t count);
std::optional<GraphQLAnswer<GithubReferencedPulls>> parseReferenced(std::string_view text,
                                                                    std::span<const GithubPullReference> references);

}  // namespace ravant::github
