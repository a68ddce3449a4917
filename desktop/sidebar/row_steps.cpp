#include "desktop/sidebar/row_steps.hpp"

#include <algorithm>

namespace ravant::desktop {
namespace {

/// Of the numbers, the indices of a longest rising sequence.
std::vector<bool> longestRising(const std::vector<std::size_t>& numbers) {
  std::vector<std::size_t> ends;  // for each length, the index at which such a sequence ends lowest
  std::vector<std::size_t> before(numbers.size());
  for (std::size_t index = 0; index < numbers.size(); ++index) {
    const auto place =
        std::ranges::lower_bound(ends, numbers[index], {}, [&](std::size_t end) { return numbers[end]; });
    before[index] = place == ends.begin() ? numbers.size() : *(place - 1);
    if (place == ends.end()) {
      ends.push_back(index);
    } else {
      *place = index;
    }
  }
  std::vector<bool> isIn(numbers.size());
  for (std::size_t index = ends.empty() ? numbers.size() : ends.back(); index < numbers.size(); index = before[index]) {
    isIn[index] = true;
  }
  return isIn;
}

void addRemovals(std::vector<RowStep>& steps, const std::vector<bool>& stays) {
  for (std::size_t end = stays.size(); end > 0;) {
    if (stays[end - 1]) {
      --end;
      continue;
    }
    std::size_t first = end;
    while (first > 0 && !stays[first - 1]) --first;
    steps.push_back({.kind = RowStep::Kind::remove, .first = first, .count = end - first});
    end = first;
  }
}

/// `kept` are the wanted rows that are shown, by their numbers among those that stay.
void addMoves(std::vector<RowStep>& steps, const std::vector<std::size_t>& kept) {
  const std::vector<bool> isFixed = longestRising(kept);
  if (std::ranges::all_of(isFixed, [](bool fixed) { return fixed; })) return;
  std::vector<std::size_t> order(kept.size());
  for (std::size_t index = 0; index < order.size(); ++index) order[index] = index;
  for (std::size_t index = 0; index < kept.size(); ++index) {
    if (isFixed[index]) continue;
    const auto from = static_cast<std::size_t>(std::ranges::find(order, kept[index]) - order.begin());
    order.erase(order.begin() + static_cast<std::ptrdiff_t>(from));
    // Everything wanted before it is in its place already, or is fixed.
    const auto to = index == 0
                        ? std::size_t{0}
                        : static_cast<std::size_t>(std::ranges::find(order, kept[index - 1]) - order.begin()) + 1;
    order.insert(order.begin() + static_cast<std::ptrdiff_t>(to), kept[index]);
    if (from != to) steps.push_back({.kind = RowStep::Kind::move, .first = from, .to = to});
  }
}

void addInsertions(std::vector<RowStep>& steps, const std::vector<std::optional<std::size_t>>& origins) {
  for (std::size_t first = 0; first < origins.size();) {
    std::size_t end = first;
    while (end < origins.size() && !origins[end]) ++end;
    if (end > first) steps.push_back({.kind = RowStep::Kind::insert, .first = first, .count = end - first});
    first = end + 1;
  }
}

}  // namespace

std::vector<RowStep> rowSteps(std::size_t shown, const std::vector<std::optional<std::size_t>>& origins) {
  std::vector<RowStep> steps;
  std::vector<bool> stays(shown);
  for (const auto& origin : origins) {
    if (origin) stays[*origin] = true;
  }
  addRemovals(steps, stays);
  std::vector<std::size_t> numbers(shown);
  for (std::size_t index = 1; index < shown; ++index) numbers[index] = numbers[index - 1] + (stays[index - 1] ? 1 : 0);
  std::vector<std::size_t> kept;
  for (const auto& origin : origins) {
    if (origin) kept.push_back(numbers[*origin]);
  }
  addMoves(steps, kept);
  addInsertions(steps, origins);
  return steps;
}

}  // namespace ravant::desktop
