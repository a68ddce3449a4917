#include "core/line_changes.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <span>

namespace ravant {
namespace {

constexpr std::string_view kBeginPatch = "*** Begin Patch";
constexpr std::string_view kAdded = " (added)";

using Lines = std::vector<std::string_view>;

Lines linesOf(std::string_view text) {
  Lines lines;
  while (!text.empty()) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    lines.push_back(text.substr(0, end));
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return lines;
}

/// From each pair of lines on, how many lines two texts have in common, in their order.
class CommonLines {
 public:
  CommonLines(std::span<const std::string_view> first, std::span<const std::string_view> second)
      : width_(second.size() + 1), counts_((first.size() + 1) * width_) {
    for (std::size_t i = first.size(); i-- > 0;) {
      for (std::size_t j = second.size(); j-- > 0;) {
        counts_[i * width_ + j] =
            first[i] == second[j] ? from(i + 1, j + 1) + 1 : std::max(from(i + 1, j), from(i, j + 1));
      }
    }
  }

  std::uint32_t from(std::size_t first, std::size_t second) const { return counts_[first * width_ + second]; }

 private:
  std::size_t width_;
  std::vector<std::uint32_t> counts_;
};

/// Nothing where more pairs of lines would have to be compared.
std::optional<std::vector<ChangedLine>> changesOf(std::string_view before, std::string_view after,
                                                  std::size_t mostPairs) {
  using enum ChangedLine::Change;
  const Lines oldLines = linesOf(before);
  const Lines newLines = linesOf(after);
  std::span<const std::string_view> old(oldLines);
  std::span<const std::string_view> present(newLines);
  std::vector<ChangedLine> changes;
  while (!old.empty() && !present.empty() && old.front() == present.front()) {
    changes.push_back({none, old.front()});
    old = old.subspan(1);
    present = present.subspan(1);
  }
  std::size_t atEnd = 0;
  while (!old.empty() && !present.empty() && old.back() == present.back()) {
    old = old.first(old.size() - 1);
    present = present.first(present.size() - 1);
    ++atEnd;
  }
  if (!old.empty() && present.size() > mostPairs / old.size()) return std::nullopt;
  const CommonLines common(old, present);
  std::size_t i = 0;
  std::size_t j = 0;
  while (i < old.size() || j < present.size()) {
    if (i < old.size() && j < present.size() && old[i] == present[j]) {
      changes.push_back({none, old[i]});
      ++i;
      ++j;
    } else if (j == present.size() || (i < old.size() && common.from(i + 1, j) >= common.from(i, j + 1))) {
      changes.push_back({removed, old[i++]});
    } else {
      changes.push_back({added, present[j++]});
    }
  }
  for (const std::string_view line : std::span(oldLines).last(atEnd)) changes.push_back({none, line});
  return changes;
}

std::optional<std::size_t> takeCount(std::string_view& rest) {
  std::size_t count = 0;
  const auto [behind, error] = std::from_chars(rest.data(), rest.data() + rest.size(), count);
  if (error != std::errc()) return std::nullopt;
  rest.remove_prefix(static_cast<std::size_t>(behind - rest.data()));
  return count;
}

/// Takes `-12,3` or `-12`, and says how many lines that are.
std::optional<std::size_t> takeRange(std::string_view& rest, std::string_view beginning) {
  if (!rest.starts_with(beginning)) return std::nullopt;
  rest.remove_prefix(beginning.size());
  if (!takeCount(rest)) return std::nullopt;
  if (!rest.starts_with(',')) return 1;
  rest.remove_prefix(1);
  return takeCount(rest);
}

struct HunkSize {
  std::size_t before;
  std::size_t after;
};

std::optional<HunkSize> hunkSize(std::string_view line) {
  const auto before = takeRange(line, "@@ -");
  const auto after = before ? takeRange(line, " +") : std::nullopt;
  if (!after || !line.starts_with(" @@")) return std::nullopt;
  return HunkSize{*before, *after};
}

/// Reads the hunks from `at` on, which stands behind them afterwards.
std::optional<LineChanges> readHunks(const Lines& lines, std::size_t& at) {
  LineChanges changes;
  while (at < lines.size()) {
    auto left = hunkSize(lines[at]);
    if (!left) return changes;
    for (++at; left->before + left->after > 0; ++at) {
      if (at == lines.size()) return std::nullopt;
      const char kind = lines[at].empty() ? ' ' : lines[at].front();
      if (kind == '\\') continue;
      const bool isOld = kind == ' ' || kind == '-';
      const bool isNew = kind == ' ' || kind == '+';
      if ((!isOld && !isNew) || (isOld && left->before == 0) || (isNew && left->after == 0)) return std::nullopt;
      left->before -= isOld ? 1 : 0;
      left->after -= isNew ? 1 : 0;
      changes += {.added = isOld ? 0U : 1U, .removed = isNew ? 0U : 1U};
    }
    while (at < lines.size() && lines[at].starts_with('\\')) ++at;
  }
  return changes;
}

bool isHeadOf(std::string_view line, std::string_view path) {
  return line.starts_with(path) && (line.size() == path.size() || line.substr(path.size()).starts_with(" ("));
}

}  // namespace

LineChanges& LineChanges::operator+=(const LineChanges& other) {
  added += other.added;
  removed += other.removed;
  return *this;
}

std::string LineChanges::text() const {
  if (added == 0 && removed == 0) return {};
  if (removed == 0) return fmt::format("+{}", added);
  if (added == 0) return fmt::format("−{}", removed);
  return fmt::format("+{} −{}", added, removed);
}

std::optional<LineChanges> lineChanges(std::string_view before, std::string_view after, std::size_t mostPairs) {
  const auto changes = changesOf(before, after, mostPairs);
  if (!changes) return std::nullopt;
  const auto count = [&](ChangedLine::Change change) {
    return static_cast<std::size_t>(std::ranges::count(*changes, change, &ChangedLine::change));
  };
  return LineChanges{.added = count(ChangedLine::Change::added), .removed = count(ChangedLine::Change::removed)};
}

std::optional<std::vector<ChangedLine>> changedLines(std::string_view before, std::string_view after) {
  return changesOf(before, after, kMostPairs);
}

std::optional<PatchText> readPatchText(std::string_view text) {
  if (!text.starts_with(kBeginPatch)) return std::nullopt;
  PatchText patch;
  LineChanges changes;
  bool isTold = true;
  for (const std::string_view line : linesOf(text)) {
    for (const std::string_view head : {"*** Add File: ", "*** Update File: ", "*** Delete File: "}) {
      if (!line.starts_with(head)) continue;
      patch.paths.emplace_back(line.substr(head.size()));
      isTold = isTold && !head.contains("Delete");
    }
    if (line.starts_with('+')) ++changes.added;
    if (line.starts_with('-')) ++changes.removed;
  }
  if (isTold) patch.changes = changes;
  return patch;
}

std::optional<LineChanges> lineChangesOfFiles(const std::vector<std::string>& paths, std::string_view text) {
  const Lines lines = linesOf(text);
  LineChanges changes;
  std::size_t at = 0;
  for (std::size_t file = 0; file < paths.size(); ++file) {
    if (at == lines.size() || !isHeadOf(lines[at], paths[file])) return std::nullopt;
    const bool isAdded = lines[at++].substr(paths[file].size()) == kAdded;
    const auto isNext = [&](std::size_t line) {
      return line + 1 < lines.size() && lines[line].empty() && file + 1 < paths.size() &&
             isHeadOf(lines[line + 1], paths[file + 1]);
    };
    if (isAdded) {
      for (; at < lines.size() && !isNext(at); ++at) ++changes.added;
    } else {
      const auto hunks = readHunks(lines, at);
      if (!hunks) return std::nullopt;
      changes += *hunks;
    }
    if (isNext(at)) ++at;
  }
  return at == lines.size() ? std::optional(changes) : std::nullopt;
}

}  // namespace ravant
