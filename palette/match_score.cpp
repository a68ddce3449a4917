#include "palette/match_score.hpp"

#include <algorithm>

#include "platform/text/case_folding.hpp"
#include "platform/text/utf8.hpp"

namespace ravant {
namespace {

std::string folded(std::string_view text) { return foldCase(repairUtf8(std::string(text))); }

}  // namespace

FoldedQuery::FoldedQuery(std::string_view query) : text_(folded(query)) {}

std::optional<int> FoldedQuery::score(std::string_view folded) const {
  std::size_t at = folded.find(text_);
  if (at == 0) return 0;
  if (at == std::string_view::npos) return isSubsequenceOf(folded) ? std::optional(3) : std::nullopt;
  for (; at != std::string_view::npos; at = folded.find(text_, at + 1)) {
    if (folded[at - 1] == ' ') return 1;
  }
  return 2;
}

// A whole character is only ever found at the beginning of one.
bool FoldedQuery::isSubsequenceOf(std::string_view folded) const {
  for (std::string_view rest = text_; !rest.empty();) {
    const std::string_view character = firstCharacters(rest, 1);
    const std::size_t at = folded.find(character);
    if (at == std::string_view::npos) return false;
    folded.remove_prefix(at + character.size());
    rest.remove_prefix(character.size());
  }
  return true;
}

std::optional<int> matchScore(std::string_view query, std::string_view candidate) {
  return FoldedQuery(query).score(folded(candidate));
}

std::optional<int> bestScore(const FoldedQuery& query, const PaletteCandidate& candidate) {
  std::optional<int> best;
  for (const std::string& text : candidate.folded) {
    const auto score = query.score(text);
    if (score && (!best || *score < *best)) best = score;
    if (best == 0) break;
  }
  return best;
}

std::optional<int> projectMatchScore(std::string_view query, const Project& project) {
  return bestScore(FoldedQuery(query), projectCandidate(project.id, project.name, project.path));
}

}  // namespace ravant
