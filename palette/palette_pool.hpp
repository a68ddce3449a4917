#pragma once

#include <compare>
#include <cstddef>
#include <limits>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "palette/match_score.hpp"
#include "palette/palette_candidate.hpp"

namespace ravant {

/// The candidates of one section, and which of them answer the query that was asked last.
class PalettePool {
 public:
  static constexpr std::size_t kNeverUsed = std::numeric_limits<std::size_t>::max();

  struct Entry {
    PaletteCandidate candidate;
    std::size_t age;  ///< the smaller the later it was used
  };

  /// Ordered best first: by score, then by age, then as the source has it.
  struct Match {
    int score;
    std::size_t age;
    std::size_t index;

    auto operator<=>(const Match&) const = default;
  };

  void clear();
  /// Behind the others.
  void add(PaletteCandidate candidate, std::size_t age);
  /// In place of the one with the same id, else where its order has it. False where that changes nothing.
  bool put(PaletteCandidate candidate, std::size_t age);
  /// False where there is none.
  bool remove(const std::string& id);
  void setAge(const std::string& id, std::size_t age);

  const Entry& at(std::size_t index) const { return entries_[index]; }
  const Entry* find(const std::string& id) const;

  /// All that answer the query, in no order; quicker where it narrows the last one.
  const std::vector<Match>& answer(const FoldedQuery& query);

 private:
  std::vector<Entry> entries_;                              ///< in the source's order
  std::unordered_map<std::string, std::size_t> positions_;  ///< in `entries_`, by id
  std::vector<Match> matches_;
  std::optional<FoldedQuery> answered_;  ///< what `matches_` answers; nothing where the entries changed since
};

}  // namespace ravant
