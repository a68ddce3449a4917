#include "cli/output/github_text.hpp"

#include <fmt/ranges.h>

#include <algorithm>
#include <cctype>
#include <utility>

#include "cli/output/terminal_text.hpp"
#include "platform/clock/local_time.hpp"
#include "platform/text/duration_text.hpp"
#include "platform/text/text.hpp"

namespace ravant::cli {
namespace {

json::object form(const GithubDiffHunk& hunk) {
  json::array lines;
  lines.reserve(hunk.lines.size());
  for (const GithubDiffLine& line : hunk.lines) {
    json::object object{{"index", line.index}, {"kind", rawValue(line.kind)}};
    if (line.oldNumber) object.emplace("oldNumber", *line.oldNumber);
    if (line.newNumber) object.emplace("newNumber", *line.newNumber);
    object.emplace("text", line.text);
    lines.push_back(std::move(object));
  }
  return {{"header", hunk.header}, {"lines", std::move(lines)}};
}

json::object form(const GithubFileChange& file) {
  json::object object{{"filename", file.filename}};
  if (file.previousFilename) object.emplace("previousFilename", *file.previousFilename);
  object.emplace("status", rawValue(file.status));
  object.emplace("isBinary", file.isBinary);
  object.emplace("additions", file.additions);
  object.emplace("deletions", file.deletions);
  json::array hunks;
  for (const GithubDiffHunk& hunk : file.hunks) hunks.push_back(form(hunk));
  object.emplace("hunks", std::move(hunks));
  return object;
}

std::string stateText(const GithubPullRequest& pull) {
  if (pull.merged) return "merged";
  if (pull.closed) return "closed";
  return pull.isDraft ? "draft" : "open";
}

/// `CHANGES_REQUESTED` as "changes requested".
std::string words(const std::optional<std::string>& raw) {
  std::string text = raw.value_or(std::string());
  std::ranges::transform(text, text.begin(),
                         [](unsigned char c) { return c == '_' ? ' ' : static_cast<char>(std::tolower(c)); });
  return text;
}

std::string nameOf(std::string_view repositoryName, std::int64_t number) {
  return fmt::format("{}#{}", repositoryName, number);
}

std::string headText(const ShownPullRequest& shown, const Style& style) {
  const std::string name = nameOf(shown.repositoryName, shown.number);
  if (!shown.known) return style.bold(oneLine(name)) + '\n';
  std::vector<std::string> facts = {stateText(*shown.known)};
  for (const auto& raw : {shown.known->reviewDecisionRaw, shown.known->checkStateRaw}) {
    if (raw) facts.push_back(words(raw));
  }
  if (shown.known->authorUsername) facts.push_back("by " + *shown.known->authorUsername);
  return fmt::format("{}\n{}\n{}\n", style.bold(oneLine(fmt::format("{} {}", name, shown.known->title))),
                     oneLine(fmt::format("{}", fmt::join(facts, " · "))), oneLine(shown.known->url));
}

std::string fileHeadText(const GithubFileChange& file) {
  std::string path = shownPath(file.filename);
  if (file.previousFilename) path = fmt::format("{} -> {}", shownPath(*file.previousFilename), path);
  const std::string counts = file.isBinary ? "binary or too large to be shown" : "";
  return fmt::format("{}  {}  (+{} -{}){}{}", path, rawValue(file.status), file.additions, file.deletions,
                     counts.empty() ? "" : "  ", counts);
}

std::size_t numberWidth(const GithubFileChange& file) {
  std::int64_t greatest = 0;
  for (const GithubDiffHunk& hunk : file.hunks) {
    for (const GithubDiffLine& line : hunk.lines) {
      greatest = std::max({greatest, line.oldNumber.value_or(0), line.newNumber.value_or(0)});
    }
  }
  return fmt::formatted_size("{}", greatest);
}

std::string numberText(const std::optional<std::int64_t>& number, std::size_t width) {
  return number ? fmt::format("{:>{}}", *number, width) : std::string(width, ' ');
}

void addLine(std::string& text, const GithubDiffLine& line, std::size_t width, const Style& style) {
  text += style.dim(fmt::format("{} {} ", numberText(line.oldNumber, width), numberText(line.newNumber, width)));
  const std::string content = terminalSafe(line.text);
  switch (line.kind) {
    case GithubDiffLine::Kind::context:
      text.append(" ").append(content);
      break;
    case GithubDiffLine::Kind::added:
      text += style.good('+' + content);
      break;
    case GithubDiffLine::Kind::removed:
      text += style.bad('-' + content);
      break;
  }
  text += '\n';
}

std::string_view gapText(GithubSyncGap gap) {
  switch (gap) {
    case GithubSyncGap::none:
      return "";
    case GithubSyncGap::beyondLimit:
      return ", which has more than GitHub hands out";
    case GithubSyncGap::unread:
      return ", not all of which could be read or checked";
  }
  std::unreachable();
}

}  // namespace

std::string accountName(const GithubIntegration& account) {
  return fmt::format("{}@{}", account.username, account.host);
}

std::string repositoriesText(const std::vector<GithubRepository>& repositories, const Style& style) {
  Table table({"REPOSITORY", "VISIBILITY", "PUSHED"}, {0});
  for (const GithubRepository& repository : repositories) {
    table.add({repository.fullName, repository.isPrivate ? "private" : "public",
               repository.pushedAt ? localTime(*repository.pushedAt) : std::string()});
  }
  return table.text(style);
}

std::string pullsText(const std::vector<GithubPullRequest>& pulls, const Style& style) {
  Table table({"PULL REQUEST", "TITLE", "STATE", "REVIEW", "CHECKS", "AUTHOR"}, {0});
  for (const GithubPullRequest& pull : pulls) {
    table.add({nameOf(pull.repositoryName, pull.number), pull.title, stateText(pull), words(pull.reviewDecisionRaw),
               words(pull.checkStateRaw), pull.authorUsername.value_or(std::string())});
  }
  return table.text(style);
}

std::string syncText(const std::optional<GithubSyncRecord>& record, Timestamp now) {
  if (!record) return "This search was not synced yet: add --sync.";
  return fmt::format("Synced {}: {} found by the search{}, for {} of the points that GitHub allows an hour.",
                     ageText(record->syncedAt, now), record->pullRequests, gapText(record->gap), record->cost);
}

std::string lackText(const std::optional<GithubSyncRecord>& record) {
  if (!record || record->gap == GithubSyncGap::none) return {};
  return fmt::format("the list can lack pull requests of the search{}", gapText(record->gap));
}

json::object jsonForm(const ShownPullRequest& shown) {
  json::object object;
  if (shown.detail.bodyText) object.emplace("bodyText", *shown.detail.bodyText);
  object.emplace("fetchedAt", iso8601(shown.detail.fetchedAt));
  json::array files;
  for (const GithubPullFilePayload& payload : shown.detail.files) {
    files.push_back(form(GithubDiffParser::fileChange(payload)));
  }
  object.emplace("files", std::move(files));
  return object;
}

std::string textForm(const ShownPullRequest& shown, const Style& style) {
  std::string text = headText(shown, style);
  const std::string body = terminalSafe(trimmed(shown.detail.bodyText.value_or(std::string())));
  if (!body.empty()) text.append("\n").append(body) += '\n';
  for (const GithubPullFilePayload& payload : shown.detail.files) {
    const GithubFileChange file = GithubDiffParser::fileChange(payload);
    text.append("\n").append(style.bold(fileHeadText(file))) += '\n';
    const std::size_t width = numberWidth(file);
    for (const GithubDiffHunk& hunk : file.hunks) {
      text += style.dim(terminalSafe(hunk.header)) + '\n';
      for (const GithubDiffLine& line : hunk.lines) addLine(text, line, width, style);
    }
  }
  return text;
}

}  // namespace ravant::cli
