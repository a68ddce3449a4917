#include <fmt/format.h>

#include <algorithm>

#include "app/session_folders.hpp"
#include "app/session_import.hpp"
#include "cli/command/command.hpp"
#include "cli/command/project_folder.hpp"
#include "cli/output/command_error.hpp"
#include "cli/output/terminal_text.hpp"
#include "platform/text/text.hpp"
#include "platform/text/utf8.hpp"

namespace ravant::cli {
namespace {

std::optional<std::filesystem::path> namedFolder(const Arguments& arguments) {
  const auto word = arguments.optional("--from");
  if (!word) return std::nullopt;
  if (trimmed(*word).empty()) throw UsageError("--from is empty: name the agent's folder, or leave --from out");
  auto folder = std::filesystem::absolute(*word).lexically_normal();
  if (!std::filesystem::is_directory(folder)) throw CommandError(fmt::format("{} is no folder", folder.string()));
  return folder.has_filename() ? folder : folder.parent_path();
}

/// Why nothing was found in the folder that the user named, where it is not the agent's.
void warnOfWrongFolder(CommandContext& context, AgentType agent, const std::filesystem::path& folder) {
  const std::filesystem::path sessions = folder / nameOfSessions(agent);
  if (std::filesystem::is_directory(sessions)) return;
  std::string words = fmt::format("{} would have its sessions in {}, which is not there", displayName(agent),
                                  shownPath(sessions.string()));
  if (const auto meant = folderMeantBy(agent, folder)) {
    words += fmt::format("; there are some with --from {}", shownPath(meant->string()));
  }
  context.warn(words);
}

/// Where prompts cannot go on in what was brought in.
awaitable<void> noteMissingAgent(CommandContext& context, AgentType agent) {
  const std::vector<Agent> agents = co_await context.application().agents().agents();
  if (std::ranges::count(agents, agent, &Agent::type) > 0) co_return;
  context.note(fmt::format("{} was not found here; its conversations go on once it is added: ravant agent add {}",
                           displayName(agent), rawValue(agent)));
}

std::string counted(std::int64_t count, std::string_view what) {
  return fmt::format("{} {}{}", count, what, count == 1 ? "" : "s");
}

json::object jsonForm(const SessionImportResult& result) {
  json::array skipped;
  for (const auto& [file, reason] : result.skipped)
    skipped.push_back({{"file", repairUtf8(file.string())}, {"reason", reason}});
  return {{"conversations", result.conversations},
          {"items", result.items},
          {"grown", result.grown},
          {"known", result.known},
          {"skipped", std::move(skipped)}};
}

std::string summary(const SessionImportResult& result, AgentType agent) {
  std::string words =
      fmt::format("{}: {} with {}", displayName(agent), counted(result.conversations, "new conversation"),
                  counted(result.items - result.itemsOfGrown, "item"));
  if (result.grown > 0) {
    words += fmt::format(", {} longer than before by {}", counted(result.grown, "conversation"),
                         counted(result.itemsOfGrown, "item"));
  }
  if (result.known > 0) words += fmt::format(", {} known already", counted(result.known, "session"));
  return words;
}

void showText(Output& output, const SessionImportResult& result, AgentType agent, const std::filesystem::path& folder) {
  if (result.sessions == 0) {
    output.line(
        oneLine(fmt::format("There are no sessions of {} in {}", displayName(agent), shownPath(folder.string()))));
  } else {
    output.line(summary(result, agent));
  }
  if (result.skipped.empty()) return;
  output.line("Not brought in:");
  for (const auto& [file, reason] : result.skipped) {
    output.line(fmt::format("  {}: {}", shownPath(file.string()), oneLine(reason)));
  }
}

/// A line that is rewritten while somebody watches, and is gone at the end, whatever that is.
class ProgressLine {
 public:
  explicit ProgressLine(CommandContext& context)
      : output_(context.output), isWatched_(!context.wantsJson() && context.output.terminalWidth().has_value()) {}
  ~ProgressLine() {
    if (!isShown_) return;
    try {
      write("");
    } catch (...) {  // NOLINT(bugprone-empty-catch): what is written next tells that nobody reads the output any more
    }
  }
  ProgressLine(const ProgressLine&) = delete;
  ProgressLine& operator=(const ProgressLine&) = delete;

  void show(SessionImportProgress progress) {
    if (!isWatched_) return;
    isShown_ = true;
    write(fmt::format("Session {} of {}", progress.done + 1, progress.all));
  }

 private:
  void write(std::string_view words) {
    output_.write(fmt::format("\r\x1b[K{}", words));
    output_.flush();
  }

  Output& output_;
  bool isWatched_;
  bool isShown_ = false;
};

awaitable<SessionImportResult> importWatched(CommandContext& context, SessionImportOptions options) {
  ProgressLine line(context);
  options.onProgress = [&](SessionImportProgress progress) { line.show(progress); };
  co_return co_await importSessions(context.application(), std::move(options));
}

awaitable<ExitStatus> run(CommandContext& context, Arguments arguments) {
  const AgentType agent = agentTypeFromRawValue(arguments.text("AGENT")).value();
  const auto from = namedFolder(arguments);
  const auto folder = from ? *from : sessionFolder(agent);
  const SessionImportResult result = co_await importWatched(context, {.agent = agent, .from = from});
  if (context.wantsJson()) {
    context.output.json(jsonForm(result));
  } else {
    showText(context.output, result, agent, folder);
  }
  if (from && result.sessions == 0) warnOfWrongFolder(context, agent, *from);
  if (result.conversations > 0) co_await noteMissingAgent(context, agent);
  co_return ExitStatus::done;
}

}  // namespace

Command importCommand() {
  return {
      .name = "import",
      .summary = "Bring in the sessions that Claude Code, Codex or Pi keep on this machine",
      .description =
          "Makes a conversation of each session that the agent can resume; the next prompt in it goes on there. "
          "Nothing of the agent's is changed. Done again, it brings in what is new: new sessions, and what was said "
          "since in those that it brought in. A last turn that the agent still works on is left for the next time.\n\n"
          "The agent's own folder is the one that CLAUDE_CONFIG_DIR, CODEX_HOME or PI_CODING_AGENT_DIR names, else "
          "~/.claude, ~/.codex or ~/.pi/agent.",
      .positionals = {{.name = "AGENT", .kind = ValueKind::sessionAgent}},
      .options = {{.name = "--from",
                   .value = "FOLDER",
                   .description = "The agent's folder, where it is another one",
                   .kind = ValueKind::folder}},
      .run = run};
}

}  // namespace ravant::cli
