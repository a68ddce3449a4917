#include "app/agent_locator.hpp"

#include <fmt/format.h>

#include <cstdlib>
#include <filesystem>

#include "app/program_search.hpp"
#include "platform/async/mailbox.hpp"
#include "platform/log/log.hpp"
#include "platform/text/text.hpp"
#include "runners/probe_process.hpp"
#include "runners/shell_probe.hpp"

namespace ravant {
namespace {

constexpr Log kLog("com.ravant.app", "AgentLocator");

/// Where the programs' own installers put them without touching the search path.
std::vector<std::filesystem::path> usualInstallFolders() {
  std::vector<std::filesystem::path> folders = {"/usr/local/bin", "/opt/homebrew/bin"};
  if (const char* home = std::getenv("HOME")) {
    for (const char* below : {".local/bin", ".claude/local", ".npm-global/bin", ".bun/bin", "bin"}) {
      folders.push_back(std::filesystem::path(home) / below);
    }
  }
  return folders;
}

awaitable<std::string> askVersion(AgentLocatorOptions options, std::string path, std::string searchPath) {
  try {
    const std::string output = co_await ProbeProcess::run(
        path, {"--version"}, "version of " + path,
        {.limit = options.versionLimit, .environment = {{"PATH", searchPath}}, .ledger = options.processes});
    const std::string_view answer = trimmed(output);
    co_return std::string(answer.substr(0, answer.find('\n')));
  } catch (const ProbeError& error) {
    kLog.warning("{}", error.what());
    co_return std::string();
  }
}

}  // namespace

awaitable<ShellEnvironment> readShellEnvironment(AgentLocatorOptions options, any_io_executor io) {
  const ShellProbeOptions probe{
      .io = std::move(io),
      .shell = {.shellPath = options.shellPath, .startLimit = options.shellLimit, .ledger = options.processes}};
  // The environment of a child is what agents get, whatever the shell's own syntax is.
  const std::string output = co_await probeInShell(probe, "/usr/bin/env printenv PATH");
  co_return ShellEnvironment{.searchPath = output.substr(0, output.find('\n'))};
}

std::vector<LocatedAgent> findAgents(std::string_view searchPath) {
  std::vector<std::filesystem::path> folders = foldersOf(searchPath);
  std::ranges::move(usualInstallFolders(), std::back_inserter(folders));
  std::vector<LocatedAgent> found;
  for (const AgentType type : kAgentTypes) {
    if (type == AgentType::ravant) continue;
    if (auto path = findProgram(defaultCommandName(type), folders)) found.push_back({type, std::move(*path), {}});
  }
  return found;
}

awaitable<std::vector<LocatedAgent>> locateAgents(AgentLocatorOptions options, std::string searchPath,
                                                  any_io_executor io) {
  using Answer = std::pair<std::size_t, std::string>;
  std::vector<LocatedAgent> located = findAgents(searchPath);
  // Those who answer hold it last, so it belongs to their executor: the caller's can be gone by then.
  const auto answers = std::make_shared<Mailbox<Answer>>(io);
  for (std::size_t index = 0; index < located.size(); ++index) {
    asio::co_spawn(
        io, askVersion(options, located[index].path, searchPath),
        [answers, index](std::exception_ptr, std::string version) { answers->post({index, std::move(version)}); });
  }
  for (std::size_t answered = 0; answered < located.size();) {
    const auto batch = co_await answers->next();
    for (const auto& [index, version] : *batch) located[index].version = version;
    answered += batch->size();
  }
  co_return located;
}

}  // namespace ravant
