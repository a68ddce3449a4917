#include "core/agent_command.hpp"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <stdexcept>
#include <vector>

#include "core/agent_runner_error.hpp"
#include "core/agent_session_id.hpp"
#include "platform/process/shell_quoted.hpp"
#include "platform/text/text.hpp"

namespace ravant {
namespace {

// Keywords that an agent understands inside a prompt; models name them as prompt-injected efforts.
constexpr std::array<std::string_view, 1> kPromptKeywords = {"ultrathink"};

// Linux takes at most 32 pages for one argument, the terminating NUL included (execve(2)).
constexpr std::size_t kPagesPerArgument = 32;

}  // namespace

std::string AgentCommand::executable(std::string_view path, AgentType agent) {
  const std::string_view configured = trimmed(path);
  return configured.empty() ? std::string(defaultCommandName(agent)) : shellQuoted(configured);
}

std::vector<std::string> AgentCommand::promptKeywords() { return {kPromptKeywords.begin(), kPromptKeywords.end()}; }

std::string AgentCommand::injectEffortIfNeeded(std::string text) const {
  const bool isKeyword = effort && std::ranges::find(kPromptKeywords, *effort) != kPromptKeywords.end();
  if (!isKeyword || text.contains(*effort)) return text;
  // Behind the prompt, so that a slash command still begins it.
  return std::move(text) + "\n\n" + *effort;
}

std::string AgentCommand::sentPrompt() const {
  std::string sent = injectEffortIfNeeded(prompt);
  // Pi takes these for an option and for a file, and has no way to say that its options are over.
  if (agent == AgentType::pi && (sent.starts_with('-') || sent.starts_with('@'))) sent.insert(0, " ");
  return sent;
}

std::string AgentCommand::commandLine() const {
  const std::string promptWord = fmt::format("\"$(echo {} | base64 -d)\"", base64(sentPrompt()));
  std::vector<std::string> words = {executable(binaryPath, agent)};
  const auto add = [&words](auto... more) { (words.emplace_back(more), ...); };
  const auto addResume = [&](std::string_view option) {
    if (!resumeSessionId) return;
    if (!canBeAgentSessionId(*resumeSessionId)) {
      throw PromptRefusedError("what is kept as the agent's session is no id of one; begin a new conversation");
    }
    add(option, shellQuoted(*resumeSessionId));
  };

  switch (agent) {
    case AgentType::claude:
      add("-p", "--output-format", "stream-json", "--verbose", "--dangerously-skip-permissions", "--model",
          shellQuoted(model));
      addResume("--resume");
      add("--", promptWord);
      break;
    case AgentType::codex:
      add("exec");
      addResume("resume");
      add("--json", "--dangerously-bypass-approvals-and-sandbox", "--model", shellQuoted(model), "--", promptWord);
      break;
    case AgentType::pi:
      add("--mode", "json", "-p", "--model", shellQuoted(model));
      addResume("--session");
      add(promptWord);
      break;
    case AgentType::ravant:
    case AgentType::cursor:
      throw std::logic_error(fmt::format("{} is not run by a command line", displayName(agent)));
  }
  return fmt::format("{} < /dev/null; echo {}\n", fmt::join(words, " "), sentinel);
}

std::size_t AgentCommand::largestPromptBytes() {
  return kPagesPerArgument * static_cast<std::size_t>(sysconf(_SC_PAGESIZE)) - 1;
}

}  // namespace ravant
