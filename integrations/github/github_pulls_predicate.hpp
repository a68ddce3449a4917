#pragma once

#include <fmt/format.h>

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>

#include "core/integrations/github_content_filter.hpp"
#include "core/store/store_connection.hpp"

namespace ravant {

/// What is known of the user's part in a pull request, as bits that are added up. Who is assigned or mentioned is
/// involved too, without that bit.
namespace github_involvement {
inline constexpr std::int64_t kInvolved = 1;
inline constexpr std::int64_t kAssigned = 2;
inline constexpr std::int64_t kReviewRequested = 4;
inline constexpr std::int64_t kMentioned = 8;
}  // namespace github_involvement

/// What a search with the filter says of everything that it returns.
std::int64_t learntInvolvement(const GithubContentFilter& filter);
/// What is not true of a pull request that a search with the filter does not return although all else fits. Nothing
/// where the filter asks for reviews or checks: GitHub knows more of them than the store, so that all else can seem to
/// fit.
std::int64_t disprovedInvolvement(const GithubContentFilter& filter);

/// Which stored pull requests of an account a filter lets through, in the words of the store: a condition and its
/// parameters. It tells the same as GitHub's search, as far as the store knows: that it was not reviewed of what has no
/// decision, and a part of the user in it where a search said so.
struct GithubPullsPredicate {
  GithubPullsPredicate(const GithubContentFilter& filter, std::int64_t integrationRow, std::string username);

  /// By what the store finds them: each has an index of its own. Every filter has one of the three.
  enum class Key { part, author, repositories };
  Key key() const;

  auto parameters() const {
    return std::tie(integrationRow, merged, closed, involvement, author, review, check, otherCheck, draft, otherDraft,
                    repositories);
  }

  std::int64_t integrationRow;
  bool merged;
  bool closed;
  std::int64_t involvement;           ///< 0 for any
  std::optional<std::string> author;  ///< absent for any, and so on
  std::optional<std::string_view> review;
  std::optional<std::string_view> check;
  std::optional<std::string_view> otherCheck;
  bool draft;
  bool otherDraft;                          ///< the same where only drafts, or none, are let through
  std::optional<std::string> repositories;  ///< a JSON array
};

/// The statement for predicates of each key. `text` has places for the index and for the condition, whose parameters
/// are the first eleven.
class GithubPullsStatement {
 public:
  GithubPullsStatement(StoreConnection& store, fmt::format_string<std::string, std::string> text);

  template <class... More>
  sqlite::Query query(const GithubPullsPredicate& predicate, const More&... more) {
    sqlite::Statement& statement = statements_.at(static_cast<std::size_t>(predicate.key()));
    return std::apply([&](const auto&... values) { return statement.query(values..., more...); },
                      predicate.parameters());
  }

 private:
  std::array<sqlite::Statement, 3> statements_;
};

}  // namespace ravant
