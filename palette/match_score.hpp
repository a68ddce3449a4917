#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "core/project.hpp"
#include "palette/palette_candidate.hpp"

namespace ravant {

/// How well the candidate answers the query, in any case of letters: 0 where it begins with it or the query is empty, 1
/// where a word in it does, 2 where it contains it, 3 where it has its characters in that order; nothing otherwise.
std::optional<int> matchScore(std::string_view query, std::string_view candidate);

/// A query that is asked of many candidates.
class FoldedQuery {
 public:
  explicit FoldedQuery(std::string_view query);

  /// `matchScore` of a candidate that went through `foldCase`.
  std::optional<int> score(std::string_view folded) const;

  /// Whether all that this finds is among what `other` finds.
  bool narrows(const FoldedQuery& other) const { return text_.starts_with(other.text_); }

  bool operator==(const FoldedQuery&) const = default;

 private:
  bool isSubsequenceOf(std::string_view folded) const;

  std::string text_;
};

/// The best score of the texts in which a query is looked for.
std::optional<int> bestScore(const FoldedQuery& query, const PaletteCandidate& candidate);

/// The best of the project's name and of "New Conversation " with the name.
std::optional<int> projectMatchScore(std::string_view query, const Project& project);

}  // namespace ravant
