#include "integrations/github/github_pulls_predicate.hpp"

#include <utility>
#include <vector>

#include "core/store/row_values.hpp"
#include "integrations/github/github_payloads.hpp"

namespace ravant {
namespace {

using namespace github_involvement;

std::int64_t shownInvolvement(GithubFilterInvolvement involvement) {
  switch (involvement) {
    case GithubFilterInvolvement::anyone:
    case GithubFilterInvolvement::authored:
      return 0;
    case GithubFilterInvolvement::involved:
      return kInvolved | kAssigned | kMentioned;
    case GithubFilterInvolvement::assigned:
      return kAssigned;
    case GithubFilterInvolvement::reviewRequested:
      return kReviewRequested;
    case GithubFilterInvolvement::mentioned:
      return kMentioned;
  }
  std::unreachable();
}

std::optional<std::string_view> decision(GithubFilterReview review) {
  switch (review) {
    case GithubFilterReview::any:
      return std::nullopt;
    case GithubFilterReview::notReviewed:
      return "";
    case GithubFilterReview::reviewRequired:
      return rawValue(GithubReviewDecision::reviewRequired);
    case GithubFilterReview::approved:
      return rawValue(GithubReviewDecision::approved);
    case GithubFilterReview::changesRequested:
      return rawValue(GithubReviewDecision::changesRequested);
  }
  std::unreachable();
}

using States = std::pair<std::optional<std::string_view>, std::optional<std::string_view>>;

States checkStates(GithubFilterChecks checks) {
  switch (checks) {
    case GithubFilterChecks::any:
      return {};
    case GithubFilterChecks::passing:
      return {rawValue(GithubCheckState::success), std::nullopt};
    case GithubFilterChecks::failing:
      return {rawValue(GithubCheckState::failure), rawValue(GithubCheckState::error)};
    case GithubFilterChecks::pending:
      return {rawValue(GithubCheckState::pending), rawValue(GithubCheckState::expected)};
  }
  std::unreachable();
}

constexpr std::string_view kFacets =
    "integration_id = ?1 AND merged = ?2 AND closed = ?3 AND (?6 IS NULL OR coalesce(review_decision_raw, '') = ?6) "
    "AND (?7 IS NULL OR check_state_raw IN (?7, ?8)) AND is_draft IN (?9, ?10)";
constexpr std::string_view kInRepositories = "repository_name IN (SELECT value FROM json_each(?11))";

sqlite::Statement prepare(StoreConnection& store, fmt::format_string<std::string, std::string> text,
                          std::string_view index, const std::string& condition) {
  return store.prepare(fmt::format(text, fmt::format("INDEXED BY github_pull_request_{}", index),
                                   fmt::format("{} AND {}", kFacets, condition)));
}

}  // namespace

std::int64_t learntInvolvement(const GithubContentFilter& filter) {
  const GithubFilterInvolvement involvement = filter.effectiveInvolvement();
  const bool isAuthorsOrAny =
      involvement == GithubFilterInvolvement::involved || involvement == GithubFilterInvolvement::authored;
  return isAuthorsOrAny ? kInvolved : shownInvolvement(involvement);
}

std::int64_t disprovedInvolvement(const GithubContentFilter& filter) {
  const bool isDecidedByGithub = filter.review != GithubFilterReview::any || filter.checks != GithubFilterChecks::any;
  return isDecidedByGithub ? 0 : shownInvolvement(filter.effectiveInvolvement());
}

GithubPullsPredicate::GithubPullsPredicate(const GithubContentFilter& filter, std::int64_t row, std::string username)
    : integrationRow(row),
      merged(filter.state == GithubFilterState::merged),
      closed(filter.state != GithubFilterState::open),
      involvement(shownInvolvement(filter.effectiveInvolvement())),
      review(decision(filter.review)),
      draft(filter.draft == GithubFilterDraft::draftsOnly),
      otherDraft(filter.draft != GithubFilterDraft::hideDrafts) {
  std::tie(check, otherCheck) = checkStates(filter.checks);
  if (filter.involvement == GithubFilterInvolvement::authored) author = std::move(username);
  const auto& names = filter.repositoryFullNames;
  if (!names.empty()) repositories = bound(std::vector<std::string>(names.begin(), names.end()));
}

GithubPullsPredicate::Key GithubPullsPredicate::key() const {
  if (author) return Key::author;
  return involvement != 0 ? Key::part : Key::repositories;
}

GithubPullsStatement::GithubPullsStatement(StoreConnection& store, fmt::format_string<std::string, std::string> text)
    : statements_{
          prepare(store, text, "by_part",
                  fmt::format("involvement <> 0 AND involvement & ?4 AND (?11 IS NULL OR {})", kInRepositories)),
          prepare(store, text, "by_author",
                  fmt::format("author_username_folded = lower(?5) AND (?11 IS NULL OR {})", kInRepositories)),
          prepare(store, text, "by_state", std::string(kInRepositories))} {}

}  // namespace ravant
