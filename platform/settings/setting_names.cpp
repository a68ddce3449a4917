#include "platform/settings/setting_names.hpp"

#include <fmt/ranges.h>

#include <algorithm>
#include <numeric>
#include <utility>

#include "platform/text/text.hpp"

namespace ravant {
namespace {

using Names = std::vector<std::string_view>;

constexpr std::size_t kMostNear = 3;
constexpr std::size_t kLettersForOneFault = 3;

std::string_view groupOf(std::string_view name) { return name.substr(0, name.find('.')); }

std::string_view lastPartOf(std::string_view name) { return name.substr(name.rfind('.') + 1); }

/// How many letters are to be added, taken away or exchanged.
std::size_t distance(std::string_view one, std::string_view other) {
  std::vector<std::size_t> row(other.size() + 1);
  std::iota(row.begin(), row.end(), 0);
  for (std::size_t i = 0; i < one.size(); ++i) {
    std::size_t diagonal = std::exchange(row[0], i + 1);
    for (std::size_t j = 0; j < other.size(); ++j) {
      const std::size_t exchanged = diagonal + (one[i] == other[j] ? 0 : 1);
      diagonal = std::exchange(row[j + 1], std::min({row[j] + 1, row[j + 1] + 1, exchanged}));
    }
  }
  return row.back();
}

/// The nearest first; a name without its group, or in other capitals, is near.
Names namesNear(std::string_view name, const Names& known) {
  const std::string word = lowerCase(name);
  const std::size_t most = std::max<std::size_t>(lastPartOf(name).size() / kLettersForOneFault, 1);
  std::vector<std::pair<std::size_t, std::string_view>> near;
  for (const std::string_view candidate : known) {
    const std::string whole = lowerCase(candidate);
    const std::size_t faults = std::min(distance(word, whole), distance(word, lastPartOf(whole)));
    if (faults <= most) near.emplace_back(faults, candidate);
  }
  std::ranges::sort(near);
  Names names;
  for (const auto& [faults, candidate] : near) names.push_back(candidate);
  names.resize(std::min(names.size(), kMostNear));
  return names;
}

Names namesInGroup(std::string_view group, const Names& known) {
  Names names;
  std::ranges::copy_if(known, std::back_inserter(names),
                       [&](std::string_view name) { return name.size() > group.size() && groupOf(name) == group; });
  return names;
}

Names groupsOf(const Names& known) {
  Names groups;
  for (const std::string_view name : known) {
    if (std::ranges::count(groups, groupOf(name)) == 0) groups.push_back(groupOf(name));
  }
  return groups;
}

}  // namespace

std::string wordsForUnknownSetting(std::string_view name, const Names& known) {
  const std::string words = fmt::format("there is no setting \"{}\"", name);
  const Names near = namesNear(name, known);
  const Names group = namesInGroup(groupOf(name), known);
  const Names& few = near.empty() && group.size() <= kMostNear ? group : near;
  if (!few.empty()) return fmt::format("{}; there is \"{}\"", words, fmt::join(few, "\", \""));
  if (group.empty()) return fmt::format("{}; their names begin with {}", words, fmt::join(groupsOf(known), ", "));
  return fmt::format("{0}; {1} begin with \"{2}.\", such as \"{3}\"", words, group.size(), groupOf(name),
                     group.front());
}

}  // namespace ravant
