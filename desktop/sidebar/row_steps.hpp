#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <type_traits>
#include <vector>

namespace ravant::desktop {

/// One change of a list's rows, as a model announces it.
struct RowStep {
  enum class Kind : std::uint8_t { remove, move, insert };

  Kind kind;
  std::size_t first;
  std::size_t count = 1;  ///< of `move` always one
  std::size_t to = 0;     ///< of `move`: where the row is afterwards

  bool operator==(const RowStep&) const = default;
};

/// The steps from one order of rows to another: first what goes, then what moves, as few as can be, then what comes.
/// `origins` says for each wanted row where it stands among those shown, or nothing where it is new; `shown` is how
/// many those are.
std::vector<RowStep> rowSteps(std::size_t shown, const std::vector<std::optional<std::size_t>>& origins);

/// For each wanted row, where the one with the same key stands among those shown. No key is twice in a list.
template <class Row, class Key>
std::vector<std::optional<std::size_t>> rowOrigins(const std::vector<Row>& shown, const std::vector<Row>& wanted,
                                                   Key keyOf) {
  using KeyType = std::decay_t<std::invoke_result_t<Key, const Row&>>;
  std::vector<std::optional<std::size_t>> origins(wanted.size());
  std::size_t same = 0;
  while (same < shown.size() && same < wanted.size() && keyOf(shown[same]) == keyOf(wanted[same])) {
    origins[same] = same;
    ++same;
  }
  std::size_t tail = 0;
  while (same + tail < shown.size() && same + tail < wanted.size() &&
         keyOf(shown[shown.size() - 1 - tail]) == keyOf(wanted[wanted.size() - 1 - tail])) {
    origins[wanted.size() - 1 - tail] = shown.size() - 1 - tail;
    ++tail;
  }
  std::map<KeyType, std::size_t> places;
  for (std::size_t index = same; index < shown.size() - tail; ++index) places.emplace(keyOf(shown[index]), index);
  for (std::size_t index = same; index < wanted.size() - tail; ++index) {
    if (const auto place = places.find(keyOf(wanted[index])); place != places.end()) origins[index] = place->second;
  }
  return origins;
}

}  // namespace ravant::desktop
