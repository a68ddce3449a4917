#include "integrations/github/github_diff_parser.hpp"

#include <algorithm>
#include <charconv>

#include "platform/text/utf8.hpp"

namespace ravant {
namespace {

constexpr std::int64_t kGreatestStart = 1'000'000'000'000'000;

GithubFileStatus statusOf(std::string_view word) {
  if (word == "added" || word == "copied") return GithubFileStatus::added;
  if (word == "removed") return GithubFileStatus::removed;
  if (word == "renamed") return GithubFileStatus::renamed;
  return GithubFileStatus::modified;
}

/// The number at the start of what stands behind the first `mark` that begins a word.
std::int64_t startBehind(char mark, std::string_view header) {
  for (std::size_t at = header.find(mark); at != std::string_view::npos; at = header.find(mark, at + 1)) {
    if (at > 0 && header[at - 1] != ' ') continue;
    const std::string_view number = header.substr(at + 1);
    std::int64_t start = 0;
    const auto parsed = std::from_chars(number.data(), number.data() + number.size(), start);
    return parsed.ec == std::errc() && start >= 0 && start <= kGreatestStart ? start : 0;
  }
  return 0;
}

/// Of a line that is no header and no note; what comes next is numbered on.
GithubDiffLine numbered(std::string_view line, std::int64_t index, GithubDiffParser::Header& next) {
  if (line.starts_with('+')) {
    return {.index = index,
            .kind = GithubDiffLine::Kind::added,
            .oldNumber = std::nullopt,
            .newNumber = next.newStart++,
            .text = line.substr(1)};
  }
  if (line.starts_with('-')) {
    return {.index = index,
            .kind = GithubDiffLine::Kind::removed,
            .oldNumber = next.oldStart++,
            .newNumber = std::nullopt,
            .text = line.substr(1)};
  }
  return {.index = index,
          .kind = GithubDiffLine::Kind::context,
          .oldNumber = next.oldStart++,
          .newNumber = next.newStart++,
          .text = line.substr(firstCharacters(line, 1).size())};
}

template <class Visit>
void forEachLine(std::string_view text, Visit visit) {
  for (std::size_t end = text.find('\n'); end != std::string_view::npos; end = text.find('\n')) {
    visit(text.substr(0, end));
    text.remove_prefix(end + 1);
  }
  visit(text);
}

}  // namespace

std::string_view rawValue(GithubDiffLine::Kind kind) {
  switch (kind) {
    case GithubDiffLine::Kind::context:
      return "context";
    case GithubDiffLine::Kind::added:
      return "added";
    case GithubDiffLine::Kind::removed:
      return "removed";
  }
  __builtin_unreachable();
}

std::string_view rawValue(GithubFileStatus status) {
  switch (status) {
    case GithubFileStatus::added:
      return "added";
    case GithubFileStatus::removed:
      return "removed";
    case GithubFileStatus::renamed:
      return "renamed";
    case GithubFileStatus::modified:
      return "modified";
  }
  __builtin_unreachable();
}

std::vector<GithubFileChange> GithubDiffParser::fileChanges(std::span<const GithubPullFilePayload> payloads) {
  std::vector<GithubFileChange> changes;
  changes.reserve(payloads.size());
  std::ranges::transform(payloads, std::back_inserter(changes), fileChange);
  return changes;
}

GithubFileChange GithubDiffParser::fileChange(const GithubPullFilePayload& payload) {
  return {.filename = payload.filename,
          .previousFilename = payload.previousFilename,
          .status = statusOf(payload.status),
          .isBinary = !payload.patch,
          .additions = payload.additions,
          .deletions = payload.deletions,
          .hunks = payload.patch ? hunks(*payload.patch) : std::vector<GithubDiffHunk>()};
}

std::vector<GithubDiffHunk> GithubDiffParser::hunks(std::string_view patch) {
  const auto text = std::make_shared<const std::string>(patch);
  std::vector<GithubDiffHunk> hunks;
  Header next{};
  std::int64_t index = 0;
  forEachLine(*text, [&](std::string_view line) {
    if (line.starts_with("@@")) {
      next = parseHeader(line);
      hunks.push_back({.patch = text, .header = std::string(line), .lines = {}});
    } else if (!hunks.empty() && !line.starts_with('\\')) {
      hunks.back().lines.push_back(numbered(line, index++, next));
    }
  });
  return hunks;
}

GithubDiffParser::Header GithubDiffParser::parseHeader(std::string_view line) {
  return {.oldStart = startBehind('-', line), .newStart = startBehind('+', line)};
}

}  // namespace ravant
