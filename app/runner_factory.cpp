#include "app/runner_factory.hpp"

#include <fmt/format.h>

#include "core/agent_runner_error.hpp"
#include "core/store/transcript_writer.hpp"
#include "platform/async/actor.hpp"
#include "platform/process/login_shell.hpp"
#include "runners/claude/claude_code_shell_runner.hpp"
#include "runners/codex/codex_app_server_runner.hpp"
#include "runners/cursor/cursor_acp_runner.hpp"
#include "runners/pi/pi_shell_runner.hpp"

namespace ravant {
namespace {

/// Stands for an agent that this version cannot run: keeps the prompt and says so.
class UnavailableRunner final : public Actor, public AgentRunner {
 public:
  UnavailableRunner(AgentType type, std::shared_ptr<ModelContainer> modelContainer, any_io_executor io)
      : Actor(std::move(io)), type_(type), modelContainer_(std::move(modelContainer)) {}

  awaitable<void> send(AgentRunRequest request) override {
    return onActor([this, request = std::move(request)]() -> awaitable<void> {
      TranscriptWriter writer(modelContainer_, request.conversationId);
      const auto refuse = [this]() -> awaitable<void> {
        throw PromptRefusedError(fmt::format("{} cannot be run by this version of Ravant yet", displayName(type_)));
        co_return;
      };
      co_await writer.record(request.prompt, type_, [] { return false; }, refuse);
    });
  }

  awaitable<void> cancel(ConversationId /*conversationId*/) override { co_return; }
  awaitable<void> shutdown() override { co_return; }

 private:
  AgentType type_;
  std::shared_ptr<ModelContainer> modelContainer_;
};

}  // namespace

bool isRunnable(AgentType type) { return type != AgentType::ravant; }

std::shared_ptr<AgentRunner> AppRunnerFactory::makeRunner(AgentType type,
                                                          std::shared_ptr<ModelContainer> modelContainer) {
  const ShellOptions shell{.shellPath = loginShell().path, .startLimit = shellStartLimit_, .ledger = processes_};
  const ShellRunnerOptions shellRunner{.io = io_, .shell = shell};
  switch (type) {
    case AgentType::claude:
      return std::make_shared<ClaudeCodeShellRunner>(std::move(modelContainer), shellRunner);
    case AgentType::pi:
      return std::make_shared<PiShellRunner>(std::move(modelContainer), shellRunner);
    case AgentType::codex:
      return std::make_shared<CodexAppServerRunner>(std::move(modelContainer),
                                                    RpcRunnerOptions{.io = io_, .shell = shell});
    case AgentType::cursor:
      return std::make_shared<CursorAcpRunner>(std::move(modelContainer), RpcRunnerOptions{.io = io_, .shell = shell});
    case AgentType::ravant:
      return std::make_shared<UnavailableRunner>(type, std::move(modelContainer), io_);
  }
  __builtin_unreachable();
}

}  // namespace ravant
