#include "palette/palette_pool.hpp"

#include <algorithm>
#include <utility>

namespace ravant {
void PalettePool::clear() {
  entries_.clear();
  positions_.clear();
  answered_.reset();
}

void PalettePool::add(PaletteCandidate candidate, std::size_t age) {
  positions_[candidate.id] = entries_.size();
  entries_.push_back({.candidate = std::move(candidate), .age = age});
  answered_.reset();
}

// An entry keeps its place for as long as the palette is open: nothing moves because a run goes on in it.
bool PalettePool::put(PaletteCandidate candidate, std::size_t age) {
  const auto known = positions_.find(candidate.id);
  if (known != positions_.end()) {
    Entry& entry = entries_[known->second];
    candidate.order = entry.candidate.order;
    if (entry.candidate == candidate && entry.age == age) return false;
    entry = {.candidate = std::move(candidate), .age = age};
  } else {
    const auto at = std::ranges::lower_bound(entries_, candidate.order, {},
                                             [](const Entry& entry) { return entry.candidate.order; });
    const auto index = static_cast<std::size_t>(at - entries_.begin());
    for (auto& [id, position] : positions_) position += position >= index ? 1 : 0;
    positions_[candidate.id] = index;
    entries_.insert(at, {.candidate = std::move(candidate), .age = age});
  }
  answered_.reset();
  return true;
}

bool PalettePool::remove(const std::string& id) {
  const auto known = positions_.find(id);
  if (known == positions_.end()) return false;
  const std::size_t index = known->second;
  entries_.erase(entries_.begin() + static_cast<std::ptrdiff_t>(index));
  positions_.erase(known);
  for (auto& [other, position] : positions_) position -= position > index ? 1 : 0;
  answered_.reset();
  return true;
}

void PalettePool::setAge(const std::string& id, std::size_t age) {
  const auto known = positions_.find(id);
  if (known == positions_.end()) return;
  entries_[known->second].age = age;
  answered_.reset();
}

const PalettePool::Entry* PalettePool::find(const std::string& id) const {
  const auto known = positions_.find(id);
  return known == positions_.end() ? nullptr : &entries_[known->second];
}

const std::vector<PalettePool::Match>& PalettePool::answer(const FoldedQuery& query) {
  if (answered_ == query) return matches_;
  const auto asked = [&](std::size_t index) {
    const Entry& entry = entries_[index];
    const auto score = bestScore(query, entry.candidate);
    return score ? std::optional(Match{*score, entry.age, index}) : std::nullopt;
  };
  std::vector<Match> found;
  if (answered_ && query.narrows(*answered_)) {
    for (const Match& match : matches_) {
      if (const auto still = asked(match.index)) found.push_back(*still);
    }
  } else {
    for (std::size_t index = 0; index < entries_.size(); ++index) {
      if (const auto match = asked(index)) found.push_back(*match);
    }
  }
  matches_ = std::move(found);
  answered_ = query;
  return matches_;
}

}  // namespace ravant
