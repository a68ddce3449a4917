#include "runners/shell_runner.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <iterator>

#include "core/agent_command.hpp"
#include "core/agent_runner_error.hpp"
#include "core/store/transcript_writer.hpp"
#include "platform/log/log.hpp"
#include "platform/text/uuid.hpp"

namespace ravant {
namespace {

constexpr Log kLog("com.ravant.runners", "ShellRunner");
// zsh 5.9 dies of an input line of about 175,000 bytes; a prompt stands there in Base64.
constexpr std::size_t kLargestPromptOfZsh = 120'000;

AgentCommand makeCommand(AgentType type, const AgentRunRequest& request) {
  return {.agent = type,
          .binaryPath = request.binaryPath,
          .model = request.model,
          .effort = request.effort,
          .prompt = request.prompt,
          .sentinel = fmt::format("__RAVANT_END_{}__", Uuid::random().upperText()),
          .resumeSessionId = request.resumedSessionId};
}

}  // namespace

struct ShellRunner::Command {
  std::string endMarker;
  std::unique_ptr<AgentTurn> turn;
  std::shared_ptr<TranscriptWriter> writer;
  bool isTurnOver = false;
  bool isLate = false;  ///< nobody waits for it any more
  bool hasEnded = false;
  std::optional<std::string> failure;  ///< the agent's own
  std::exception_ptr error;            ///< while reading or storing
};

ShellRunner::ShellRunner(AgentType type, std::shared_ptr<ModelContainer> modelContainer, ShellRunnerOptions options)
    : Actor(options.io),
      type_(type),
      modelContainer_(std::move(modelContainer)),
      options_(std::move(options)),
      shell_(strand(), options_.shell),
      changed_(strand()) {}

ShellRunner::~ShellRunner() = default;

awaitable<void> ShellRunner::send(AgentRunRequest request) {
  return onActor([this, request = std::move(request)]() mutable -> awaitable<void> {
    if (isSending_) throw AgentRunnerError(AgentRunnerError::Case::busy);
    isSending_ = true;
    isCancelled_ = false;
    ++sends_;

    std::exception_ptr error;
    try {
      // What an earlier command still says stands in the transcript before the new prompt.
      co_await awaitCommandEnd(options_.commandEndLimit);
      if (command_) co_await stop();
      const auto writer = std::make_shared<TranscriptWriter>(modelContainer_, request.conversationId);
      co_await writer->record(
          request.prompt, type_, [this] { return isCancelled_; }, [&] { return runTurn(std::move(request), writer); });
    } catch (...) {
      error = std::current_exception();
    }
    isSending_ = false;
    changed_.notify();
    if (error) std::rethrow_exception(error);
  });
}

awaitable<void> ShellRunner::runTurn(AgentRunRequest request, std::shared_ptr<TranscriptWriter> writer) {
  if (resumedSessionId_) request.resumedSessionId = resumedSessionId_;
  resumedSessionId_ = request.resumedSessionId;
  AgentCommand line = makeCommand(type_, request);
  refuseUnfitPrompt(line);

  if (isCancelled_) co_return;
  co_await shell_.ensureShell(request.workingDirectory);
  if (isCancelled_) co_return co_await stop();

  shell_.drainStderr();
  const auto command =
      std::make_shared<Command>(Command{.endMarker = line.sentinel,
                                        .turn = makeTurn(request.resumedSessionId, lastKnownContextWindow_),
                                        .writer = writer});
  kLog.debug("{} turn begins conv={}", rawValue(type_), request.conversationId.text());
  try {
    co_await shell_.writeStdin(line.commandLine());
  } catch (const std::system_error& error) {
    kLog.error("the command line could not be written: {}", error.what());
    throw AgentRunnerError(AgentRunnerError::Case::processDied);
  }
  startReading(command);
  while (!command->isTurnOver && !command->hasEnded) co_await changed_.wait();
  co_await awaitCommandEnd(options_.commandEndLimit);
  command->isLate = true;

  if (isCancelled_) co_return;
  shell_.leaveDetached();
  if (command->error) std::rethrow_exception(command->error);
  if (command->failure) throw AgentReportedError(*command->failure);
  if (command->isTurnOver) co_return;
  if (shell_.isRunning()) {
    std::string complaint = shell_.drainStderr();
    if (!request.resumedSessionId || !isUnknownSession(complaint)) {
      throw AgentRunnerError::agentExitedSilently(std::move(complaint));
    }
    kLog.warning("{} no longer knows the session it was to resume", rawValue(type_));
    request.resumedSessionId.reset();
    resumedSessionId_.reset();
    co_await writer->loseSession();
    co_return co_await runTurn(std::move(request), std::move(writer));
  }
  co_await stop();
  throw AgentRunnerError(AgentRunnerError::Case::processDied);
}

void ShellRunner::startReading(std::shared_ptr<Command> command) {
  command_ = command;
  asio::co_spawn(
      strand(), [self = shared_from_this(), this, command] { return readCommand(command); },
      [self = shared_from_this(), this, command](std::exception_ptr) {
        command->hasEnded = true;
        command_.reset();
        changed_.notify();
      });
}

awaitable<void> ShellRunner::readCommand(std::shared_ptr<Command> command) {
  try {
    co_await readLines(command);
    if (command->isLate) co_await command->writer->endLate();
    co_return;
  } catch (const std::exception& error) {
    kLog.error("the agent's output could not be taken in: {}", error.what());
    command->error = std::current_exception();
  }
  // The agent still runs; nobody would read or end its command.
  co_await shell_.shutdown();
}

awaitable<void> ShellRunner::readLines(std::shared_ptr<Command> command) {
  for (bool hasEnded = false; !hasEnded;) {
    // What has arrived together is stored together.
    std::vector<turn::Action> actions;
    std::exception_ptr error;
    auto line = co_await shell_.readLine();
    try {
      do {
        // Output that does not end in a line break has the marker behind it.
        hasEnded = !line || line->ends_with(command->endMarker);
        if (line && hasEnded) line->resize(line->size() - command->endMarker.size());
        if (line && !line->empty()) std::ranges::move(command->turn->onLine(*line), std::back_inserter(actions));
        if (!hasEnded) line = shell_.tryReadLine();
      } while (!hasEnded && line);
      if (hasEnded) std::ranges::move(command->turn->onCommandEnd(), std::back_inserter(actions));
    } catch (...) {
      error = std::current_exception();
    }
    co_await perform(command, std::move(actions));
    if (error) std::rethrow_exception(error);
  }
}

awaitable<void> ShellRunner::perform(std::shared_ptr<Command> command, std::vector<turn::Action> actions) {
  for (const turn::Action& action : actions) {
    const auto* const entry = std::get_if<TranscriptAction>(&action);
    if (!entry) continue;
    if (const auto* session = std::get_if<turn::SetSession>(entry)) resumedSessionId_ = session->sessionId;
    if (const auto* window = std::get_if<turn::ApplyContextWindow>(entry)) lastKnownContextWindow_ = window->maxTokens;
  }
  auto end = co_await command->writer->perform(std::move(actions));
  if (!end) co_return;
  command->failure = std::move(end->failure);
  command->isTurnOver = true;
  changed_.notify();
}

awaitable<void> ShellRunner::awaitCommandEnd(std::chrono::milliseconds limit) {
  const auto command = command_;
  const auto deadline = std::chrono::steady_clock::now() + limit;
  while (command && !command->hasEnded && std::chrono::steady_clock::now() < deadline) co_await changed_.wait(deadline);
}

void ShellRunner::refuseUnfitPrompt(const AgentCommand& command) const {
  if (command.prompt.contains('\0')) {
    throw PromptRefusedError("the prompt has a NUL character, which cannot be passed to a command");
  }
  const std::size_t size = command.sentPrompt().size();
  const bool isZsh = std::filesystem::path(options_.shell.shellPath).filename() == "zsh";
  const std::size_t limit =
      isZsh ? std::min(kLargestPromptOfZsh, AgentCommand::largestPromptBytes()) : AgentCommand::largestPromptBytes();
  if (size > limit) {
    throw PromptRefusedError(
        fmt::format("the prompt is too long: it has {} bytes, and {} passes at most {} bytes to a command", size,
                    isZsh ? "zsh" : "this system", limit));
  }
}

awaitable<void> ShellRunner::cancel(ConversationId /*conversationId*/) {
  return onActor([this] { return stopSending(); });
}

awaitable<void> ShellRunner::shutdown() {
  return onActor([this] {
    shell_.leaveDetached();
    return stopSending();
  });
}

awaitable<void> ShellRunner::stopSending() {
  isCancelled_ = true;
  const auto cancelled = sends_;
  co_await stop();
  while (isSending_ && sends_ == cancelled) co_await changed_.wait();
}

awaitable<void> ShellRunner::stop() {
  const auto command = command_;
  co_await shell_.shutdown();
  while (command && !command->hasEnded) co_await changed_.wait();
}

}  // namespace ravant
