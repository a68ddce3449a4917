#pragma once

#include <array>
#include <optional>
#include <set>
#include <string>
#include <string_view>

namespace ravant {

/// How the signed-in user relates to a pull request.
enum class GithubFilterInvolvement { anyone, involved, authored, assigned, reviewRequested, mentioned };
enum class GithubFilterState { open, merged, closed };
enum class GithubFilterReview { any, notReviewed, reviewRequired, approved, changesRequested };
enum class GithubFilterChecks { any, passing, failing, pending };
enum class GithubFilterDraft { any, draftsOnly, hideDrafts };

/// What a filter is made of, in the order in which it is edited.
enum class GithubFilterFacet { repository, involvement, state, review, checks, draft };

/// One choice of a facet.
template <class Facet>
struct GithubFilterCase {
  Facet value;
  std::string_view rawValue;    ///< how it is stored and typed
  std::string_view label;       ///< as the user sees it
  std::string_view searchTerm;  ///< what it adds to the search text; empty for nothing
};

/// The choices of a facet in their order, `GithubFilterOption<Facet>::kCases`.
template <class Facet>
struct GithubFilterOption;

template <>
struct GithubFilterOption<GithubFilterInvolvement> {
  using enum GithubFilterInvolvement;
  static constexpr std::array<GithubFilterCase<GithubFilterInvolvement>, 6> kCases = {{
      {anyone, "anyone", "Anyone", ""},
      {involved, "involved", "Involving me", "involves:@me"},
      {authored, "authored", "Authored by me", "author:@me"},
      {assigned, "assigned", "Assigned to me", "assignee:@me"},
      {reviewRequested, "reviewRequested", "Review requested", "review-requested:@me"},
      {mentioned, "mentioned", "Mentioning me", "mentions:@me"},
  }};
};

template <>
struct GithubFilterOption<GithubFilterState> {
  using enum GithubFilterState;
  static constexpr std::array<GithubFilterCase<GithubFilterState>, 3> kCases = {{
      {open, "open", "Open", "state:open"},
      {merged, "merged", "Merged", "is:merged"},
      {closed, "closed", "Closed", "is:closed is:unmerged"},
  }};
};

template <>
struct GithubFilterOption<GithubFilterReview> {
  using enum GithubFilterReview;
  static constexpr std::array<GithubFilterCase<GithubFilterReview>, 5> kCases = {{
      {any, "any", "Any review state", ""},
      {notReviewed, "notReviewed", "Not reviewed", "review:none"},
      {reviewRequired, "reviewRequired", "Review required", "review:required"},
      {approved, "approved", "Approved", "review:approved"},
      {changesRequested, "changesRequested", "Changes requested", "review:changes_requested"},
  }};
};

template <>
struct GithubFilterOption<GithubFilterChecks> {
  using enum GithubFilterChecks;
  static constexpr std::array<GithubFilterCase<GithubFilterChecks>, 4> kCases = {{
      {any, "any", "Any check state", ""},
      {passing, "passing", "Checks passing", "status:success"},
      {failing, "failing", "Checks failing", "status:failure"},
      {pending, "pending", "Checks pending", "status:pending"},
  }};
};

template <>
struct GithubFilterOption<GithubFilterDraft> {
  using enum GithubFilterDraft;
  static constexpr std::array<GithubFilterCase<GithubFilterDraft>, 3> kCases = {{
      {any, "any", "Drafts and ready", ""},
      {draftsOnly, "draftsOnly", "Drafts only", "draft:true"},
      {hideDrafts, "hideDrafts", "Hide drafts", "draft:false"},
  }};
};

template <class Facet>
constexpr const GithubFilterCase<Facet>& filterCase(Facet value) {
  return GithubFilterOption<Facet>::kCases.at(static_cast<std::size_t>(value));
}

template <class Facet>
constexpr std::optional<Facet> filterValueFromRawValue(std::string_view rawValue) {
  for (const auto& known : GithubFilterOption<Facet>::kCases) {
    if (known.rawValue == rawValue) return known.value;
  }
  return std::nullopt;
}

/// Which pull requests a view shows.
struct GithubContentFilter {
  std::set<std::string> repositoryFullNames = {};  ///< `owner/name`; none for all that a search reaches
  GithubFilterInvolvement involvement = GithubFilterInvolvement::anyone;
  GithubFilterState state = GithubFilterState::open;
  GithubFilterReview review = GithubFilterReview::any;
  GithubFilterChecks checks = GithubFilterChecks::any;
  GithubFilterDraft draft = GithubFilterDraft::any;

  /// "anyone" without a repository never stands for a search without bounds: it is `involved`.
  GithubFilterInvolvement effectiveInvolvement() const;

  /// The text for GitHub's search of pull requests (docs.github.com, "Searching issues and pull requests").
  std::string searchQuery() const;

  bool operator==(const GithubContentFilter&) const = default;
};

}  // namespace ravant
