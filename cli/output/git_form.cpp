#include "cli/output/git_form.hpp"

#include <fmt/format.h>

#include "cli/output/terminal_text.hpp"
#include "platform/text/text.hpp"
#include "platform/text/utf8.hpp"

namespace ravant::cli {
namespace {

/// As it is where that is text.
std::string jsonPath(const std::string& path) { return isValidUtf8(path) ? path : shownPath(path); }

json::object form(const GitFileChange& change) {
  json::object object{{"path", jsonPath(change.path)}};
  if (change.oldPath) object.emplace("oldPath", jsonPath(*change.oldPath));
  object.emplace("status", rawValue(change.status));
  object.emplace("staged", change.staged);
  object.emplace("isBinary", change.isBinary);
  object.emplace("insertions", change.insertions);
  object.emplace("deletions", change.deletions);
  if (change.isConflicted) object.emplace("isConflicted", true);
  return object;
}

json::array form(const std::vector<GitDiffHunk>& hunks) {
  json::array forms;
  for (const GitDiffHunk& hunk : hunks) {
    json::array lines;
    for (const GitDiffLine& line : hunk.lines) {
      json::object object{{"index", line.index}, {"kind", rawValue(line.kind)}};
      if (line.oldNumber) object.emplace("oldNumber", *line.oldNumber);
      if (line.newNumber) object.emplace("newNumber", *line.newNumber);
      object.emplace("content", line.content);
      lines.push_back(std::move(object));
    }
    forms.push_back({{"index", hunk.index}, {"header", hunk.header}, {"lines", std::move(lines)}});
  }
  return forms;
}

std::string_view word(GitFileStatus status) {
  switch (status) {
    case GitFileStatus::added:
      return "new file:";
    case GitFileStatus::modified:
      return "modified:";
    case GitFileStatus::deleted:
      return "deleted:";
    case GitFileStatus::renamed:
      return "renamed:";
    case GitFileStatus::untracked:
      return "";
    case GitFileStatus::typeChanged:
      return "typechange:";
  }
  __builtin_unreachable();
}

std::string line(const GitFileChange& change) {
  if (change.status == GitFileStatus::untracked) return shownPath(change.path);
  const std::string path = change.oldPath ? fmt::format("{} -> {}", shownPath(*change.oldPath), shownPath(change.path))
                                          : shownPath(change.path);
  const std::string counts = change.isBinary ? "binary" : fmt::format("+{} -{}", change.insertions, change.deletions);
  return fmt::format("{:<12}{}  ({})", change.isConflicted ? "unmerged:" : word(change.status), path, counts);
}

std::string headText(const GitHead& head) {
  std::string text;
  switch (head.state) {
    case GitHeadState::branch:
      if (!head.name.empty()) text = fmt::format("On branch {}\n", oneLine(head.name));
      break;
    case GitHeadState::detached:
      text = fmt::format("HEAD detached at {}\n", head.name);
      break;
    case GitHeadState::unborn:
      text = fmt::format("On branch {}\n\nNo commits yet\n", oneLine(head.name));
      break;
  }
  if (!head.operation.empty()) text += fmt::format("A {} is not finished\n", head.operation);
  return text;
}

std::string section(std::string_view heading, const std::vector<std::string>& lines) {
  if (lines.empty()) return {};
  std::string text = fmt::format("\n{}:\n", heading);
  for (const std::string& entry : lines) text += fmt::format("\t{}\n", entry);
  return text;
}

std::string tracking(std::int64_t ahead, std::int64_t behind) {
  if (ahead > 0 && behind > 0) return fmt::format("ahead {}, behind {}", ahead, behind);
  if (ahead > 0) return fmt::format("ahead {}", ahead);
  return behind > 0 ? fmt::format("behind {}", behind) : std::string();
}

std::string plural(std::int64_t count, std::string_view noun) {
  return fmt::format("{} {}{}", count, noun, count == 1 ? "" : "s");
}

/// Why a side does not show all.
std::string extentText(GitHunksExtent extent) {
  switch (extent) {
    case GitHunksExtent::whole:
      return {};
    case GitHunksExtent::cut:
      return fmt::format("… more lines differ than the first {}\n", kMostHunkLines);
    case GitHunksExtent::notCompared:
      return fmt::format("… it differs, in a file of more than {} lines; \"git diff\" shows how\n", kMostComparedLines);
  }
  __builtin_unreachable();
}

std::string sideText(std::string_view heading, const std::vector<GitDiffHunk>& hunks, GitHunksExtent extent,
                     const Style& style) {
  if (hunks.empty() && extent == GitHunksExtent::whole) return {};
  std::string text = style.bold(heading) + '\n';
  for (const GitDiffHunk& hunk : hunks) {
    text += style.dim(terminalSafe(hunk.header)) + '\n';
    for (const GitDiffLine& shown : hunk.lines) {
      const std::string content = terminalSafe(shown.content);
      switch (shown.kind) {
        case GitDiffLineKind::context:
          text += ' ' + content + '\n';
          break;
        case GitDiffLineKind::addition:
          text += style.good('+' + content) + '\n';
          break;
        case GitDiffLineKind::deletion:
          text += style.bad('-' + content) + '\n';
          break;
      }
    }
  }
  return text + extentText(extent);
}

}  // namespace

json::object jsonForm(const GitWorkingCopyDetails& details) {
  json::array staged;
  json::array unstaged;
  for (const GitFileEntry& entry : details.entries()) {
    if (entry.staged) staged.push_back(form(*entry.staged));
    if (entry.unstaged) unstaged.push_back(form(*entry.unstaged));
  }
  json::object object{{"branch", details.branch},
                      {"ahead", details.ahead},
                      {"behind", details.behind},
                      {"staged", std::move(staged)},
                      {"unstaged", std::move(unstaged)}};
  if (details.head.state != GitHeadState::branch) {
    object.emplace("headState", rawValue(details.head.state));
    object.emplace("headName", details.head.name);
  }
  if (!details.folder.empty()) object.emplace("folder", jsonPath(details.folder));
  if (!details.head.operation.empty()) object.emplace("operation", details.head.operation);
  return object;
}

json::object jsonForm(const GitWorkingCopyStat& stat) {
  return {{"insertions", stat.insertions}, {"deletions", stat.deletions}};
}

json::object jsonForm(const GitBranch& branch) {
  json::object object{{"name", branch.name}, {"isCurrent", branch.isCurrent}};
  if (branch.upstream) object.emplace("upstream", *branch.upstream);
  object.emplace("ahead", branch.ahead);
  object.emplace("behind", branch.behind);
  object.emplace("lastCommitSummary", branch.lastCommitSummary);
  if (branch.lastCommitDate) object.emplace("lastCommitDate", iso8601(*branch.lastCommitDate));
  return object;
}

json::object jsonForm(const GitFileHunks& hunks) {
  json::object object{{"staged", form(hunks.staged)}, {"unstaged", form(hunks.unstaged)}};
  if (hunks.stagedExtent != GitHunksExtent::whole) object.emplace("stagedExtent", rawValue(hunks.stagedExtent));
  if (hunks.unstagedExtent != GitHunksExtent::whole) object.emplace("unstagedExtent", rawValue(hunks.unstagedExtent));
  return object;
}

std::string statusText(const GitReading<GitWorkingCopyDetails>& reading, const Style& style) {
  const GitWorkingCopyDetails& details = reading.value;
  std::vector<std::string> staged;
  std::vector<std::string> unmerged;
  std::vector<std::string> unstaged;
  std::vector<std::string> untracked;
  for (const GitFileEntry& entry : details.entries()) {
    const auto& last = entry.unstaged ? entry.unstaged : entry.staged;
    if (last->isConflicted) {
      unmerged.push_back(style.bad(line(*last)));
      continue;
    }
    if (entry.staged) staged.push_back(style.good(line(*entry.staged)));
    if (!entry.unstaged) continue;
    const bool isUntracked = entry.unstaged->status == GitFileStatus::untracked;
    (isUntracked ? untracked : unstaged).push_back(style.bad(line(*entry.unstaged)));
  }
  std::string text = headText(details.head);
  const std::string distance = tracking(details.ahead, details.behind);
  if (!distance.empty()) text += fmt::format("Your branch and its upstream: {}\n", distance);
  const std::string changes = section("Changes to be committed", staged) + section("Unmerged paths", unmerged) +
                              section("Changes not staged for commit", unstaged) +
                              section("Untracked files", untracked);
  if (!changes.empty() || reading.unsupportedReason) return text + changes;
  return text + (details.folder.empty() ? "nothing to commit, working tree clean\n"
                                        : fmt::format("nothing to commit in {}\n", shownPath(details.folder)));
}

std::string statText(const GitWorkingCopyStat& stat) {
  return fmt::format("{}(+), {}(-)\n", plural(stat.insertions, "insertion"), plural(stat.deletions, "deletion"));
}

std::string branchesText(const std::vector<GitBranch>& branches, const Style& style) {
  Table table({" ", "BRANCH", "UPSTREAM", "", "LAST COMMIT"});
  for (const GitBranch& branch : branches) {
    table.add({branch.isCurrent ? "*" : "", branch.name, branch.upstream.value_or(std::string()),
               tracking(branch.ahead, branch.behind), branch.lastCommitSummary});
  }
  return table.text(style);
}

std::string hunksText(const GitFileHunks& hunks, const Style& style) {
  return sideText("Staged", hunks.staged, hunks.stagedExtent, style) +
         sideText("Not staged", hunks.unstaged, hunks.unstagedExtent, style);
}

}  // namespace ravant::cli
