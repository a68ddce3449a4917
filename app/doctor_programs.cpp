#include "app/doctor.hpp"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <system_error>

#include "app/agent_scan.hpp"
#include "app/known_settings.hpp"
#include "app/program_search.hpp"
#include "platform/text/text.hpp"
#include "runners/probe_process.hpp"

namespace ravant {
namespace {

std::string ownSearchPath() {
  const char* path = std::getenv("PATH");
  return path ? path : "";
}

// Any shell passes it on as it is.
constexpr const char* kTellEnvironment =
    R"sh(/bin/sh -c 'echo; echo "RAVANT_SEARCH_PATH=$PATH"; echo "RAVANT_FOLDER=$(pwd -P)"')sh";
constexpr std::string_view kSearchPath = "\nRAVANT_SEARCH_PATH=";
constexpr std::string_view kFolder = "\nRAVANT_FOLDER=";

/// What stands behind `name` on its line, the last where there are several; nothing where there is none.
std::optional<std::string> told(const std::string& output, std::string_view name) {
  const auto found = output.rfind(name);
  if (found == std::string::npos) return std::nullopt;
  const std::size_t begin = found + name.size();
  return output.substr(begin, output.find('\n', begin) - begin);
}

bool isSet(const char* variable) {
  const char* value = std::getenv(variable);
  return value && *value != '\0';
}

}  // namespace

awaitable<void> Doctor::examineShell() {
  const AgentLocatorOptions options = locatorOptions(settings_, recorder_);
  try {
    findings_.searchPath = (co_await readShellEnvironment(options, executors_.io())).searchPath;
  } catch (const std::exception& error) {
    findings_.searchPath = ownSearchPath();
    isSearchPathKnown_ = false;
    add(fmt::format("the login shell {} does not work: {}", findings_.shell.path, error.what()),
        "correct its start-up files, or set SHELL to another shell");
  }
  findings_.agents = co_await locateAgents(options, findings_.searchPath, executors_.io());
}

awaitable<void> Doctor::examineGit() {
  const std::string shell = loginShell(ShellUse::command).path;
  std::string words = "it ended before it ran a command";
  try {
    const std::string output = co_await ProbeProcess::run(
        shell, {"-l", "-c", kTellEnvironment}, shell,
        {.limit = std::chrono::seconds(settings_.integer(setting::kShellStartSeconds)), .ledger = recorder_});
    findings_.gitSearchPath = told(output, kSearchPath).value_or("");
    const auto folder = told(output, kFolder);
    if (folder && *folder != std::filesystem::canonical(std::filesystem::current_path())) {
      add(fmt::format("the start-up files of {} change the folder: git commands would run in {}", shell, *folder),
          "let them do so in interactive shells only");
    }
  } catch (const ProbeError& error) {
    words = error.what();
  }
  if (findings_.gitSearchPath.empty()) {
    add(fmt::format("{} -l -c runs no git command: {}", shell, words), "correct its start-up files");
    co_return;
  }
  const auto path = findProgram("git", foldersOf(findings_.gitSearchPath));
  if (!path) {
    add("git was not found in the search path of the login shell", "install git, or correct the shell's profile");
    co_return;
  }
  try {
    const std::string answer = co_await ProbeProcess::run(*path, {"--version"}, "git", {.ledger = recorder_});
    findings_.git = ProgramFindings{.path = *path, .version = std::string(trimmed(answer))};
  } catch (const ProbeError& error) {
    add(error.what(), "install git anew");
  }
}

void Doctor::examineRegisteredAgents() {
  const std::vector<std::filesystem::path> searchFolders = foldersOf(findings_.searchPath);
  for (const Agent& agent : findings_.registered) {
    if (!agent.enabled || agent.type == AgentType::ravant) continue;
    const std::string path = agent.path.empty() ? std::string(defaultCommandName(agent.type)) : agent.path;
    const bool isThere = path.contains('/') ? isProgram(path) : findProgram(path, searchFolders).has_value();
    if (isThere || (!path.contains('/') && !isSearchPathKnown_)) continue;
    add(fmt::format("the program of the agent {}, {}, is not there", rawValue(agent.type), path),
        fmt::format("install it and run: ravant agent scan; or run: ravant agent set-path {} PATH",
                    rawValue(agent.type)));
  }
}

void Doctor::examineWhetherThereIsAnAgent() {
  const bool hasProgram = std::ranges::any_of(
      findings_.registered, [](const Agent& agent) { return agent.enabled && agent.type != AgentType::ravant; });
  const bool hasKey = std::ranges::any_of(findings_.keys, [](const KeyFindings& key) { return !key.source.empty(); });
  if (hasProgram || hasKey || !findings_.agents.empty()) return;
  add("there is no agent that could take a prompt",
      "install Claude Code, Codex, Cursor or Pi and run: ravant agent scan; or give Ravant's own agent a key: "
      "ravant key set openrouter");
}

void Doctor::examineProcesses() {
  try {
    findings_.processes = leftProcesses();
  } catch (const std::system_error& error) {
    add(fmt::format("the running processes cannot be looked at: {}", error.what()), "see what the message says");
  }
}

void Doctor::examineRoot() {
  const bool hasClaude = std::ranges::any_of(
      findings_.registered, [](const Agent& agent) { return agent.enabled && agent.type == AgentType::claude; });
  if (!hasClaude || ::geteuid() != 0 || settings_.boolean(setting::kClaudeAsRoot) || isSet("IS_SANDBOX")) return;
  add("Claude Code does not run as root, where nothing limits what it may do",
      fmt::format("run Ravant as another user; or, where this machine is a sandbox that may be lost, run: ravant "
                  "settings set {} true",
                  setting::kClaudeAsRoot));
}

}  // namespace ravant
