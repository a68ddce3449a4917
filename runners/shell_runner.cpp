#include "runners/shell_runner.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <iterator>

#include "core/agent_command.hpp"
#include "core/agent_runner_error.hpp"
#include "core/store/transcript_writer.hpp"
#include "platform/files/working_folder.hpp"
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

struct ShellRunner::Prompt {
  Prompt(AgentRunRequest asked, std::shared_ptr<ModelContainer> modelContainer)
      : request(std::move(asked)), writer(std::move(modelContainer), request.conversationId) {}

  AgentRunRequest request;
  TranscriptWriter writer;
  bool isCancelled = false;
};

/// The agent's command line in the shell. It can outlive its turn, and its prompt.
struct ShellRunner::Command {
  /// `late`: the prompt waits no longer for its end.
  enum class State { awaited, late, ended };

  std::shared_ptr<Prompt> prompt;
  std::string endMarker;
  std::unique_ptr<AgentTurn> turn;
  State state = State::awaited;
  std::optional<TurnEnd> turnEnd = {};  ///< nothing until the agent's turn is over
  std::exception_ptr error = {};        ///< while reading or storing
};

ShellRunner::ShellRunner(AgentType type, std::shared_ptr<ModelContainer> modelContainer, ShellRunnerOptions options)
    : Actor(options.io),
      type_(type),
      modelContainer_(std::move(modelContainer)),
      options_(std::move(options)),
      shell_(strand(), options_.shell),
      changed_(strand()),
      idle_(strand()) {}

ShellRunner::~ShellRunner() = default;

awaitable<void> ShellRunner::send(AgentRunRequest request) {
  return onActor([this, request = std::move(request)]() mutable -> awaitable<void> {
    if (prompt_) throw AgentRunnerError(AgentRunnerError::Case::busy);
    const auto prompt = std::make_shared<Prompt>(std::move(request), modelContainer_);
    prompt_ = prompt;

    std::exception_ptr error;
    try {
      // What an earlier command still says stands in the transcript before the new prompt.
      co_await awaitCommandEnd(options_.commandEndLimit);
      shell_.leaveDetached();
      if (command_) co_await stop();
      co_await prompt->writer.record(
          prompt->request.prompt, type_, [prompt] { return prompt->isCancelled; }, [&] { return runTurn(prompt); },
          prompt->request.choice());
    } catch (...) {
      error = std::current_exception();
    }
    prompt_.reset();
    changed_.notify();
    endShellWhenIdle();
    if (error) std::rethrow_exception(error);
  });
}

awaitable<void> ShellRunner::runTurn(std::shared_ptr<Prompt> prompt) {
  AgentRunRequest& request = prompt->request;
  chooseSession(request);
  AgentCommand line = makeCommand(type_, request);
  refuseUnfitPrompt(line);

  if (prompt->isCancelled) co_return;
  co_await prepareShell(prompt);
  if (prompt->isCancelled) co_return co_await stop();
  const auto command = co_await startCommand(prompt, std::move(line));
  while (!command->turnEnd && command->state != Command::State::ended) co_await changed_.wait();
  co_await awaitCommandEnd(options_.commandEndLimit);
  if (command->state == Command::State::awaited) command->state = Command::State::late;

  if (prompt->isCancelled) co_return;
  shell_.leaveDetached();
  if (command->error) std::rethrow_exception(command->error);
  if (!command->turnEnd) co_return co_await onSilentEnd(command);
  if (command->turnEnd->failure) throw AgentReportedError(*command->turnEnd->failure);
}

void ShellRunner::chooseSession(AgentRunRequest& request) {
  std::optional<std::string>& stored = request.resumedSessionId;
  if (stored && stored->empty()) stored.reset();
  if (!stored || (resumedSessionId_ && pastSessionIds_.contains(*stored))) stored = resumedSessionId_;
  setSession(stored);
}

void ShellRunner::setSession(std::optional<std::string> sessionId) {
  if (sessionId) pastSessionIds_.insert(*sessionId);
  resumedSessionId_ = std::move(sessionId);
}

awaitable<void> ShellRunner::prepareShell(std::shared_ptr<Prompt> prompt) {
  const std::filesystem::path& folder = prompt->request.workingDirectory;
  expectFolder(folder);
  if (shell_.isUsableIn(folder)) {
    shell_.leaveDetached();
  } else {
    co_await prompt->writer.announce(RunState::Kind::waitingForShell);
    if (prompt->isCancelled) co_return;
    co_await shell_.startShell(folder);
    shell_.leaveDetachedByStartUp();
    co_await prompt->writer.announce(RunState::Kind::thinking);
  }
  // What the start-up files or an earlier agent detached is not this prompt's.
  co_await shell_.newDetachedCanBeTold();
}

awaitable<std::shared_ptr<ShellRunner::Command>> ShellRunner::startCommand(std::shared_ptr<Prompt> prompt,
                                                                           AgentCommand line) {
  shell_.drainStderr();
  const auto command =
      std::make_shared<Command>(Command{.prompt = prompt,
                                        .endMarker = line.sentinel,
                                        .turn = makeTurn(prompt->request.resumedSessionId, lastKnownContextWindow_)});
  kLog.debug("{} turn begins conv={}", rawValue(type_), prompt->request.conversationId.text());
  try {
    co_await shell_.writeStdin(line.commandLine());
  } catch (const std::system_error& error) {
    kLog.error("the command line could not be written: {}", error.what());
    throw AgentRunnerError(AgentRunnerError::Case::processDied);
  }
  startReading(command);
  co_return command;
}

awaitable<void> ShellRunner::onSilentEnd(std::shared_ptr<Command> command) {
  if (!shell_.isRunning()) {
    co_await stop();
    throw AgentRunnerError(AgentRunnerError::Case::processDied);
  }
  std::string complaint = shell_.drainStderr();
  const auto prompt = command->prompt;
  if (!prompt->request.resumedSessionId || !command->turn->isSessionUnknown(complaint)) {
    if (const auto advice = command->turn->advice(complaint); !advice.empty()) complaint.append("\n").append(advice);
    throw AgentRunnerError::agentExitedSilently(std::move(complaint));
  }
  kLog.warning("{} no longer knows the session it was to resume", rawValue(type_));
  prompt->request.resumedSessionId.reset();
  resumedSessionId_.reset();
  co_await prompt->writer.loseSession();
  co_await runTurn(prompt);
}

void ShellRunner::startReading(std::shared_ptr<Command> command) {
  command_ = command;
  asio::co_spawn(
      strand(), [self = shared_from_this(), this, command] { return readCommand(command); },
      [self = shared_from_this(), this, command](std::exception_ptr) {
        command->state = Command::State::ended;
        command_.reset();
        changed_.notify();
        endShellWhenIdle();
      });
}

awaitable<void> ShellRunner::readCommand(std::shared_ptr<Command> command) {
  try {
    co_await readLines(command);
    if (command->state != Command::State::late) co_return;
    shell_.leaveDetached();
    co_return co_await command->prompt->writer.endLate();
  } catch (const std::exception& error) {
    kLog.error("the agent's output could not be taken in: {}", error.what());
    command->error = std::current_exception();
  }
  if (!command->prompt->isCancelled) shell_.leaveDetached();
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
    if (const auto* session = std::get_if<turn::SetSession>(entry)) setSession(session->sessionId);
    if (const auto* window = std::get_if<turn::ApplyContextWindow>(entry)) lastKnownContextWindow_ = window->maxTokens;
  }
  auto end = co_await command->prompt->writer.perform(std::move(actions));
  if (!end) co_return;
  command->turnEnd = std::move(end);
  changed_.notify();
}

awaitable<void> ShellRunner::awaitCommandEnd(std::chrono::milliseconds limit) {
  const auto command = command_;
  const auto deadline = std::chrono::steady_clock::now() + limit;
  while (command && command->state != Command::State::ended && std::chrono::steady_clock::now() < deadline) {
    co_await changed_.wait(deadline);
  }
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

awaitable<void> ShellRunner::release(ConversationId /*conversationId*/) {
  return onActor([this] { return endIdleShell(); });
}

awaitable<void> ShellRunner::shutdown() {
  return onActor([this] {
    shell_.leaveDetached();
    return stopSending();
  });
}

awaitable<void> ShellRunner::stopSending() {
  const auto prompt = prompt_;
  if (prompt) prompt->isCancelled = true;
  co_await stop();
  while (prompt && prompt_ == prompt) co_await changed_.wait();
}

awaitable<void> ShellRunner::stop() {
  idle_.cancel();
  const auto command = command_;
  co_await shell_.shutdown();
  while (command && command->state != Command::State::ended) co_await changed_.wait();
}

void ShellRunner::endShellWhenIdle() {
  if (!isIdle() || !shell_.isHeld()) return;
  idle_.expires_after(options_.idleLimit);
  idle_.async_wait([self = weak_from_this(), this](boost::system::error_code error) {
    const auto alive = self.lock();
    if (error || !alive) return;
    asio::co_spawn(strand(), [alive, this] { return endIdleShell(); }, [](std::exception_ptr) {});
  });
}

awaitable<void> ShellRunner::endIdleShell() {
  if (!isIdle() || !shell_.isHeld()) co_return;
  kLog.info("the shell of a conversation is ended after idle time");
  shell_.leaveDetached();
  co_await stop();
}

}  // namespace ravant
