#include "core/tool_call_summary.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <set>
#include <vector>

#include "core/tool_call_wire.hpp"
#include "platform/text/text.hpp"

namespace ravant {
namespace {

constexpr std::size_t kSubjectBytes = 1'000;
constexpr std::size_t kReadOutputBytes = 64 * 1024;

/// What is counted of several calls.
enum class Counted { files, calls };

/// How calls of a verb are told.
struct Words {
  ToolCallKind kind;
  std::string_view verb;
  std::string_view past;
  std::string_view present;
  std::string_view one;   ///< object of one call
  std::string_view many;  ///< of several
  Counted counted = Counted::calls;
};

using enum ToolCallKind;

constexpr Words kEdit{edit, "Edit", "edited", "Editing", "a file", "files", Counted::files};
constexpr Words kWrite{edit, "Write", "wrote", "Writing", "a file", "files", Counted::files};
constexpr Words kDelete{edit, "Delete", "deleted", "Deleting", "a file", "files", Counted::files};
constexpr Words kMove{edit, "Move", "moved", "Moving", "a file", "files", Counted::files};
constexpr Words kRead{read, "Read", "read", "Reading", "a file", "files", Counted::files};
constexpr Words kList{read, "List", "listed", "Listing", "a folder", "folders", Counted::files};
constexpr Words kRun{run, "Run", "ran", "Running", "a command", "commands"};
constexpr Words kSearch{search, "Search", "searched", "Searching", "", "times"};
constexpr Words kFetch{fetch, "Fetch", "fetched", "Fetching", "a page", "pages"};
constexpr Words kPlan{todo, "Plan", "planned", "Planning", "", "times"};
constexpr Words kDelegate{task, "Delegate", "delegated", "Delegating", "a task", "tasks"};
constexpr Words kOther{other, "", "used", "Using", "a tool", "tools"};

struct Name {
  std::string_view name;  ///< in small letters, without marks
  const Words* words;
};

constexpr std::array kNames = {Name{"edit", &kEdit},
                               Name{"multiedit", &kEdit},
                               Name{"editfile", &kEdit},
                               Name{"notebookedit", &kEdit},
                               Name{"applypatch", &kEdit},
                               Name{"patch", &kEdit},
                               Name{"write", &kWrite},
                               Name{"writefile", &kWrite},
                               Name{"delete", &kDelete},
                               Name{"move", &kMove},
                               Name{"read", &kRead},
                               Name{"readfile", &kRead},
                               Name{"notebookread", &kRead},
                               Name{"viewimage", &kRead},
                               Name{"ls", &kList},
                               Name{"list", &kList},
                               Name{"listdirectory", &kList},
                               Name{"bash", &kRun},
                               Name{"shell", &kRun},
                               Name{"execute", &kRun},
                               Name{"execcommand", &kRun},
                               Name{"localshell", &kRun},
                               Name{"run", &kRun},
                               Name{"grep", &kSearch},
                               Name{"glob", &kSearch},
                               Name{"find", &kSearch},
                               Name{"search", &kSearch},
                               Name{"websearch", &kSearch},
                               Name{"webfetch", &kFetch},
                               Name{"fetch", &kFetch},
                               Name{"todowrite", &kPlan},
                               Name{"todoread", &kPlan},
                               Name{"updateplan", &kPlan},
                               Name{"task", &kDelegate},
                               Name{"agent", &kDelegate},
                               Name{"spawnagent", &kDelegate}};

const Words* wordsOfName(std::string_view toolName) {
  std::string name = lowerCase(toolName.substr(0, kSubjectBytes));
  std::erase_if(name, [](char character) { return character == '_' || character == '-'; });
  const auto* found = std::ranges::find(kNames, name, &Name::name);
  return found == kNames.end() ? nullptr : found->words;
}

const Words& wordsOf(const ToolInvocation& invocation) {
  if (const Words* words = wordsOfName(invocation.toolName)) return *words;
  const Words* words = wordsOfName(toolKindOf(invocation));
  return words ? *words : kOther;
}

/// The first line of a text that is not blank, cut where it is long.
std::string firstLine(std::string_view text) {
  text = trimmed(text);
  std::string_view line = text.substr(0, text.find('\n'));
  std::size_t end = std::min(line.size(), kSubjectBytes);
  const bool isCut = end < line.size();
  while (isCut && end > 0 && (static_cast<unsigned char>(line[end]) & 0xC0U) == 0x80U) --end;
  return oneLine(line.substr(0, end)) + (isCut ? "…" : "");
}

std::string_view withinProject(std::string_view path, std::string_view projectFolder) {
  if (projectFolder.ends_with('/')) projectFolder.remove_suffix(1);
  const bool isInside = !projectFolder.empty() && path.size() > projectFolder.size() + 1 &&
                        path.starts_with(projectFolder) && path[projectFolder.size()] == '/';
  return isInside ? path.substr(projectFolder.size() + 1) : path;
}

/// A tool of a server as others write it too: `mcp__echo__say` is `echo.say`.
std::string ownName(std::string_view toolName) {
  constexpr std::string_view kServer = "mcp__";
  if (!toolName.starts_with(kServer)) return firstLine(toolName);
  toolName.remove_prefix(kServer.size());
  const std::size_t end = toolName.find("__");
  if (end == std::string_view::npos) return firstLine(toolName);
  return firstLine(fmt::format("{}.{}", toolName.substr(0, end), toolName.substr(end + 2)));
}

/// A title such as `Edit x.txt` says the verb too.
std::string titleWithout(std::string_view verb, std::string_view title) {
  const bool hasVerb = title.starts_with(verb) && (title.size() == verb.size() || title[verb.size()] == ' ');
  return hasVerb ? std::string(trimmed(title.substr(verb.size()))) : std::string(title);
}

/// One call as it was read.
struct Call {
  explicit Call(const ToolInvocation& told)
      : invocation(told), words(wordsOf(told)), input(readToolInput(told.input ? std::string_view(*told.input) : "")) {
    if (words.counted == Counted::files) findPaths();
  }

  void findPaths() {
    if (!input.path.empty()) {
      paths = {input.path};
    } else if (auto patch = readPatchText(input.firstText)) {
      paths = std::move(patch->paths);
      if (input.isWhole) input.changes = patch->changes;
    } else if (!input.isObject) {
      for (std::string_view rest = input.firstText; !trimmed(rest).empty();) {
        const std::size_t end = std::min(rest.find('\n'), rest.size());
        if (const std::string_view path = trimmed(rest.substr(0, end)); !path.empty()) paths.emplace_back(path);
        rest.remove_prefix(std::min(end + 1, rest.size()));
      }
    }
  }

  const ToolInvocation& invocation;
  const Words& words;
  ToolInput input;
  std::vector<std::string> paths;
};

std::string pathsText(const std::vector<std::string>& paths, std::string_view projectFolder) {
  std::string text = firstLine(withinProject(paths.front(), projectFolder));
  if (paths.size() > 1) text += fmt::format(" and {} more", paths.size() - 1);
  return text;
}

/// What the input tells of what a call of this kind is about.
std::string toldSubject(const Call& call) {
  switch (call.words.kind) {
    case edit:
    case read:
    case todo:
      return {};
    case run:
      return call.input.isObject ? call.input.command : call.input.firstText;
    case search:
      return call.input.isObject ? call.input.query : call.input.firstText;
    case fetch:
      return call.input.isObject ? call.input.address : call.input.firstText;
    case task:
      return call.input.isObject ? call.input.task : call.input.firstText;
    case other:
      return call.input.firstText;
  }
  __builtin_unreachable();
}

std::string subjectOf(const Call& call, std::string_view projectFolder) {
  if (!call.paths.empty()) return pathsText(call.paths, projectFolder);
  const std::string told = firstLine(toldSubject(call));
  const bool isTitle = told.empty() && call.words.kind != other && !wordsOfName(call.invocation.toolName);
  return isTitle ? titleWithout(call.words.verb, firstLine(withinProject(call.invocation.toolName, projectFolder)))
                 : told;
}

/// The number that stands behind `words` in a line of its own at the beginning or the end of the output.
std::optional<int> exitCode(std::string_view output) {
  const std::string_view text = trimmed(output);
  const std::string_view first = text.substr(0, text.find('\n'));
  const std::size_t lastBreak = text.rfind('\n');
  const std::string_view last = text.substr(lastBreak == std::string_view::npos ? 0 : lastBreak + 1);
  const auto numberIn = [](std::string_view line, std::string_view words) -> std::optional<int> {
    if (!line.starts_with(words)) return std::nullopt;
    const char* end = line.data() + line.size();
    int number = 0;
    const auto [behind, error] = std::from_chars(line.data() + words.size(), end, number);
    return error == std::errc() && behind == end ? std::optional(number) : std::nullopt;
  };
  if (const auto number = numberIn(first, "Exit code ")) return number;
  if (const auto number = numberIn(last, "exit code ")) return number;
  return numberIn(last, "Command exited with code ");
}

std::optional<std::string> resultOf(const Call& call) {
  const std::string_view output = call.invocation.output ? std::string_view(*call.invocation.output) : "";
  if (call.words.kind == run && call.invocation.status == ToolInvocationStatus::failed) {
    const auto code = exitCode(output);
    return code ? std::optional(fmt::format("exit {}", *code)) : std::nullopt;
  }
  if (call.words.kind != edit || call.invocation.status != ToolInvocationStatus::completed) return std::nullopt;
  auto changes = call.input.changes;
  const bool tellsFiles = !changes && !call.input.isObject && call.input.isWhole && output.size() <= kReadOutputBytes;
  if (tellsFiles && !call.paths.empty()) changes = lineChangesOfFiles(call.paths, output);
  const std::string text = changes ? changes->text() : std::string();
  return text.empty() ? std::nullopt : std::optional(text);
}

std::string runningWords(const ToolInvocation& invocation, std::string_view projectFolder) {
  const Call call(invocation);
  if (call.words.kind == run) return "Running a command";
  const ToolCallSummary summary = toolCallSummary(invocation, projectFolder);
  const std::string& about = call.words.kind == other ? summary.verb : summary.subject;
  const std::string_view object = about.empty() ? call.words.one : std::string_view(about);
  const std::string_view link = call.words.kind == search && !about.empty() ? " for" : "";
  return fmt::format("{}{}{}{}", call.words.present, link, object.empty() ? "" : " ", object);
}

/// The calls of a verb.
struct Sum {
  const Words* words;
  std::size_t calls = 0;
  std::set<std::string> paths = {};
  std::size_t nameless = 0;  ///< calls that tell no path

  std::string text() const {
    const std::size_t count = words->counted == Counted::files ? paths.size() + nameless : calls;
    if (count == 1) return fmt::format("{}{}{}", words->past, words->one.empty() ? "" : " ", words->one);
    return fmt::format("{} {} {}", words->past, count, words->many);
  }
};

}  // namespace

ToolCallSummary toolCallSummary(const ToolInvocation& invocation, std::string_view projectFolder) {
  const Call call(invocation);
  return {.kind = call.words.kind,
          .verb = call.words.kind == other ? ownName(invocation.toolName) : std::string(call.words.verb),
          .subject = subjectOf(call, projectFolder),
          .result = resultOf(call)};
}

std::string groupSummary(std::span<const ToolInvocation> invocations, std::string_view projectFolder) {
  const auto latest = std::ranges::find(invocations.rbegin(), invocations.rend(), ToolInvocationStatus::running,
                                        &ToolInvocation::status);
  if (latest != invocations.rend()) return runningWords(*latest, projectFolder);
  std::vector<Sum> sums;
  for (const ToolInvocation& invocation : invocations) {
    const Call call(invocation);
    auto sum = std::ranges::find(sums, &call.words, &Sum::words);
    if (sum == sums.end()) sum = sums.insert(sums.end(), Sum{.words = &call.words});
    ++sum->calls;
    if (call.paths.empty()) ++sum->nameless;
    sum->paths.insert(call.paths.begin(), call.paths.end());
  }
  std::string text;
  for (const Sum& sum : sums) text += (text.empty() ? "" : ", ") + sum.text();
  if (!text.empty()) text.front() = static_cast<char>(text.front() - 'a' + 'A');
  return text;
}

}  // namespace ravant
