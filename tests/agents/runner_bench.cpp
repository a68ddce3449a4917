#include "tests/agents/runner_bench.hpp"

#include <algorithm>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/this_coro.hpp>

#include "core/store/row_values.hpp"
#include "tests/support/processes.hpp"
#include "tests/support/transcript_text.hpp"

namespace ravant::test {
namespace {

std::vector<ToolInvocation> toolCallsOf(const std::vector<ConversationItem>& items) {
  std::vector<ToolInvocation> calls;
  for (const ConversationItem& item : items) {
    if (const auto* group = std::get_if<ToolInvocationGroup>(&item.detail)) {
      calls.insert(calls.end(), group->invocations.begin(), group->invocations.end());
    }
  }
  return calls;
}

bool haveText(const std::vector<ConversationItem>& items, const std::string& text) {
  return std::ranges::count(items, text, &ConversationItem::text) > 0 ||
         std::ranges::count(toolCallsOf(items), text, &ToolInvocation::text) > 0;
}

}  // namespace

RunnerBench::RunnerBench(AgentType type, MakeRunner makeRunner, std::string shell)
    : type_(type), makeRunner_(std::move(makeRunner)) {
  shell_ = {.shellPath = std::move(shell),
            .environment = {{"HOME", home_.path()}, {"ZDOTDIR", home_.path()}, {"LC_ALL", "C.UTF-8"}},
            .ledger = store_.processes};
  home_.write(".zshrc", {});  // without one, zsh asks whether to make it
  project = home_ / "project";
  std::filesystem::create_directory(project);
  conversation_ = store_.makeConversation(type_, project);
  replaceRunner();
}

RunnerBench::~RunnerBench() { await(runner_->shutdown()); }

ConversationId RunnerBench::addConversation() {
  const auto folder = home_ / "other";
  std::filesystem::create_directory(folder);
  return store_.makeConversation(type_, folder);
}

AgentRunRequest RunnerBench::request(std::string program, std::string prompt,
                                     std::optional<ConversationId> conversation) {
  const ConversationId id = conversation.value_or(conversation_);
  const auto summary = run(store_.conversations->conversation(id));
  return {.prompt = std::move(prompt),
          .model = "mock-model",
          .effort = std::nullopt,
          .conversationId = id,
          .workingDirectory = project,
          .resumedSessionId = summary ? summary->conversation.agentResumedSessionId : std::nullopt,
          .binaryPath = std::move(program)};
}

awaitable<std::string> RunnerBench::outcomeOf(AgentRunRequest request) {
  try {
    co_await runner_->send(std::move(request));
    co_return "finished";
  } catch (const std::exception& error) {
    co_return std::string("failed: ") + error.what();
  }
}

std::string RunnerBench::send(std::string program, std::string prompt) {
  return await(outcomeOf(request(std::move(program), std::move(prompt))));
}

awaitable<void> RunnerBench::cancel(std::optional<ConversationId> conversation) {
  return runner_->cancel(conversation.value_or(conversation_));
}

awaitable<void> RunnerBench::release() { return runner_->release(conversation_); }

void RunnerBench::loseConversation() { store_.container->connect().execute("DELETE FROM conversation"); }

void RunnerBench::loseConversation(ConversationId conversation) {
  sqlite::Database database = store_.container->connect();
  database.prepare("DELETE FROM conversation WHERE uuid = ?").run(bound(conversation));
}

void RunnerBench::append(std::vector<TranscriptAction> actions) {
  run(store_.items->apply(conversation_, std::move(actions)));
}

awaitable<std::shared_ptr<ChangeSubscription>> RunnerBench::subscribe() {
  co_return co_await store_.container->changeFeed()->subscribe(co_await asio::this_coro::executor);
}

awaitable<void> RunnerBench::flushChanges() { return store_.container->changeFeed()->flush(); }

std::int64_t RunnerBench::committedChanges() {
  sqlite::Database database = store_.container->connect();
  sqlite::Statement newest = database.prepare("SELECT max(sequence) FROM change");
  auto row = newest.query();
  row.step();
  return row.int64(0);
}

void RunnerBench::replaceRunner() {
  if (runner_) await(runner_->shutdown());
  runner_ = makeRunner_(store_.container, store_.executors.io(), shell_);
}

awaitable<void> RunnerBench::untilTranscriptHas(std::string text) {
  const auto changes = co_await store_.container->changeFeed()->subscribe(co_await asio::this_coro::executor);
  while (!haveText(co_await store_.reader->items(conversation_, std::nullopt), text)) {
    co_await changes->next();
  }
}

std::string RunnerBench::transcript() { return transcriptText(store_, conversation_); }

std::vector<std::string> RunnerBench::texts(std::optional<ConversationId> conversation) {
  std::vector<std::string> texts;
  for (const ConversationItem& item : store_.transcript(conversation.value_or(conversation_))) {
    texts.push_back(item.text);
  }
  return texts;
}

std::vector<std::string> RunnerBench::endReasons() {
  std::vector<std::string> reasons;
  for (const ConversationItem& item : store_.transcript(conversation_)) {
    const auto* prompt = std::get_if<UserMessage>(&item.detail);
    if (prompt) reasons.emplace_back(prompt->endReason ? rawValue(*prompt->endReason) : "");
  }
  return reasons;
}

bool RunnerBench::hasRunningTool() {
  return std::ranges::count(toolCallsOf(store_.transcript(conversation_)), ToolInvocationStatus::running,
                            &ToolInvocation::status) > 0;
}

awaitable<void> untilGone(std::vector<pid_t> processes) {
  asio::steady_timer pause(co_await asio::this_coro::executor);
  while (std::ranges::any_of(processes, isAlive)) {
    pause.expires_after(std::chrono::milliseconds(5));
    co_await pause.async_wait(use_awaitable);
  }
}

std::vector<pid_t> survivorsOf(const FakeAgent& agent) {
  std::vector<pid_t> survivors = agent.processes();
  std::erase_if(survivors, [](pid_t pid) { return !isAlive(pid); });
  return survivors;
}

}  // namespace ravant::test
