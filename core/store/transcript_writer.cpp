#include "core/store/transcript_writer.hpp"

#include <utility>
#include <variant>

#include "core/agent_runner_error.hpp"
#include "core/overloaded.hpp"
#include "core/store/store_error.hpp"
#include "platform/log/log.hpp"

namespace ravant {
namespace {

constexpr Log kLog("com.ravant.core", "TranscriptWriter");
constexpr std::string_view kLostSession =
    "The agent no longer knows this conversation and begins anew, without what was said before.";

}  // namespace

TranscriptWriter::TranscriptWriter(std::shared_ptr<ModelContainer> modelContainer, ConversationId conversationId)
    : conversationId_(conversationId),
      modelContainer_(std::move(modelContainer)),
      items_(ConversationItemModelActor::make(modelContainer_)) {}

awaitable<void> TranscriptWriter::record(std::string prompt, AgentType agent, std::function<bool()> isCancelled,
                                         std::function<awaitable<void>()> turn) {
  std::exception_ptr error;
  try {
    co_await begin(std::move(prompt), agent);
    try {
      co_await turn();
    } catch (...) {
      error = std::current_exception();
    }
    co_await end(isCancelled() ? kCancelledTool : kUnfinishedTool);
  } catch (const std::exception& failure) {
    if (isCancelled()) kLog.error("the end of a cancelled run could not be stored: {}", failure.what());
    if (!error) error = std::current_exception();
  }
  if (error && !isCancelled()) std::rethrow_exception(error);
}

awaitable<void> TranscriptWriter::begin(std::string prompt, AgentType agent) {
  if (!co_await items_->beginRun(conversationId_)) throw ConversationGoneError();
  std::exception_ptr error;
  try {
    co_await items_->appendUserPrompt(conversationId_, std::move(prompt), agent);
    co_return;
  } catch (...) {
    error = std::current_exception();
  }
  try {
    co_await end({});
  } catch (const StoreError& unmarked) {
    kLog.error("the mark of a run could not be taken off: {}", unmarked.what());
  }
  std::rethrow_exception(error);
}

awaitable<std::optional<TurnEnd>> TranscriptWriter::perform(std::vector<turn::Action> actions) {
  std::vector<TranscriptAction> stored;
  std::optional<Growth> growth;
  std::optional<turn::Retry> retry;
  std::optional<TurnEnd> turnEnd;
  for (turn::Action& action : actions) {
    std::visit(
        Overloaded{[&](TranscriptAction& entry) {
                     if (std::holds_alternative<turn::AppendAgentMessage>(entry)) growth.reset();
                     stored.push_back(std::move(entry));
                   },
                   [&](turn::Grow& grow) {
                     if (grow.isNewMessage || !growth || growth->kind != grow.kind) {
                       growth = Growth{.text = {}, .isNewMessage = grow.isNewMessage, .kind = grow.kind};
                     }
                     growth->text += grow.text;
                   },
                   [&](turn::Retry& again) { retry = std::move(again); }, [&](turn::Finish&) { turnEnd.emplace(); },
                   [&](turn::Fail& fail) { turnEnd = TurnEnd{.failure = std::move(fail.text), .cause = fail.cause}; }},
        action);
  }
  if (!stored.empty()) co_await store(std::move(stored));
  if (growth) co_await modelContainer_->changeFeed()->announceGrowth(conversationId_, *std::move(growth));
  if (retry) {
    const Timestamp now = modelContainer_->clock().now();
    RunState state{.kind = RunState::Kind::retrying, .since = now, .reason = std::move(retry->reason)};
    if (retry->after) state.until = now + *retry->after;
    co_await modelContainer_->changeFeed()->announceState(conversationId_, std::move(state));
  }
  co_return turnEnd;
}

awaitable<void> TranscriptWriter::store(std::vector<TranscriptAction> actions) {
  if (!co_await items_->apply(conversationId_, std::move(actions))) throw ConversationGoneError();
}

awaitable<void> TranscriptWriter::announce(RunState::Kind kind) {
  return modelContainer_->changeFeed()->announceState(conversationId_,
                                                      {.kind = kind, .since = modelContainer_->clock().now()});
}

awaitable<void> TranscriptWriter::loseSession() {
  return store(
      {turn::AppendCompactionEvent{.rawJSON = {}, .text = std::string(kLostSession)}, turn::SetSession{std::nullopt}});
}

awaitable<void> TranscriptWriter::endLate() { return end(kUnfinishedTool); }

awaitable<void> TranscriptWriter::end(std::string_view unfinishedToolOutput) {
  if (!co_await items_->endRun(conversationId_, std::string(unfinishedToolOutput))) throw ConversationGoneError();
}

}  // namespace ravant
