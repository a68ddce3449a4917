#include "core/store/transcript_writer.hpp"

#include <algorithm>
#include <iterator>
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

/// What an action says of the agent, the least first.
enum class Sign { none, work, call };

Sign signOf(const TranscriptAction& action) {
  return std::visit(
      Overloaded{[](const turn::AppendToolInvocation&) { return Sign::call; },
                 [](const turn::CompleteToolInvocation&) { return Sign::call; },
                 [](const turn::UpdateToolInvocation&) { return Sign::work; },
                 [](const turn::AppendAgentMessage&) { return Sign::work; }, [](const auto&) { return Sign::none; }},
      action);
}

bool isWaiting(const RunState& state) {
  return state.kind != RunState::Kind::thinking && state.kind != RunState::Kind::runningTool;
}

void extend(std::vector<Growth>& texts, turn::Grow grow) {
  if (grow.isNewMessage || texts.empty()) {
    texts.push_back({.text = std::move(grow.text), .isNewMessage = grow.isNewMessage, .kind = grow.kind});
  } else {
    texts.back().text += grow.text;
  }
}

}  // namespace

TranscriptWriter::TranscriptWriter(std::shared_ptr<ModelContainer> modelContainer, ConversationId conversationId)
    : conversationId_(conversationId),
      modelContainer_(std::move(modelContainer)),
      items_(ConversationItemModelActor::make(modelContainer_)) {}

awaitable<void> TranscriptWriter::record(std::string prompt, AgentType agent, std::function<bool()> isCancelled,
                                         std::function<awaitable<void>()> turn, PromptChoice choice) {
  std::exception_ptr error;
  try {
    co_await begin(std::move(prompt), agent, std::move(choice));
    try {
      co_await turn();
    } catch (...) {
      error = std::current_exception();
    }
    const auto ownOutcome = error ? PromptOutcome::failed : PromptOutcome::finished;
    const auto outcome = turnFailure_ == FailureCause::limit ? PromptOutcome::limit : ownOutcome;
    co_await (isCancelled() ? end(kCancelledTool, PromptOutcome::cancelled) : end(kUnfinishedTool, outcome));
  } catch (const std::exception& failure) {
    if (isCancelled()) kLog.error("a cancelled run is not recorded whole: {}", failure.what());
    if (!error) error = std::current_exception();
  }
  if (std::exchange(isInFlight_, false)) co_await modelContainer_->changeFeed()->announceRunEnd(conversationId_);
  if (error && !isCancelled()) std::rethrow_exception(error);
}

awaitable<void> TranscriptWriter::markBegun(std::optional<QueuedPrompt> queued) {
  try {
    if (!co_await items_->beginRun(conversationId_)) throw ConversationGoneError();
  } catch (const AgentRunnerError& error) {
    if (!queued || error.kind() != AgentRunnerError::Case::busy) throw;
    throw QueuedPromptNotSentError("another process runs a prompt in the conversation");
  }
}

awaitable<void> TranscriptWriter::begin(std::string prompt, AgentType agent, PromptChoice choice) {
  co_await markBegun(choice.queued);
  std::exception_ptr error;
  try {
    co_await items_->appendUserPrompt(conversationId_, std::move(prompt), agent, std::move(choice));
    isInFlight_ = true;
    co_await announce(RunState::Kind::thinking);
    co_return;
  } catch (...) {
    error = std::current_exception();
  }
  try {
    co_await end({}, std::nullopt);
  } catch (const StoreError& unmarked) {
    kLog.error("the mark of a run could not be taken off: {}", unmarked.what());
  }
  std::rethrow_exception(error);
}

awaitable<std::optional<TurnEnd>> TranscriptWriter::perform(std::vector<turn::Action> actions) {
  std::vector<TranscriptAction> stored;
  std::vector<Growth> pastReasoning;  // in front of what it led to
  std::vector<Growth> reasoning;
  std::vector<Growth> message;  // not one that is whole already
  std::optional<turn::Retry> retry;
  std::optional<TurnEnd> turnEnd;
  for (turn::Action& action : actions) {
    std::visit(
        Overloaded{[&](TranscriptAction& entry) {
                     if (std::holds_alternative<turn::AppendAgentMessage>(entry)) message.clear();
                     std::ranges::move(std::exchange(reasoning, {}), std::back_inserter(pastReasoning));
                     if (signOf(entry) != Sign::none) retry.reset();
                     stored.push_back(std::move(entry));
                   },
                   [&](turn::Grow& grow) {
                     retry.reset();
                     extend(grow.kind == GrowthKind::message ? message : reasoning, std::move(grow));
                   },
                   [&](turn::Retry& again) { retry = std::move(again); }, [&](turn::Finish&) { turnEnd.emplace(); },
                   [&](turn::Fail& fail) { turnEnd = TurnEnd{.failure = std::move(fail.text), .cause = fail.cause}; }},
        action);
  }
  const bool hasGrown = !pastReasoning.empty() || !reasoning.empty() || !message.empty();
  co_await announceGrowths(std::move(pastReasoning));
  if (!stored.empty()) co_await store(std::move(stored));
  if (hasGrown && state_ && isWaiting(*state_)) co_await announceWork();
  co_await announceGrowths(std::move(reasoning));
  co_await announceGrowths(std::move(message));
  if (retry && !turnEnd) {
    const Timestamp now = modelContainer_->clock().now();
    RunState state{.kind = RunState::Kind::retrying, .since = now, .reason = std::move(retry->reason)};
    if (retry->after) state.until = now + *retry->after;
    co_await announceState(std::move(state));
  }
  if (turnEnd) turnFailure_ = turnEnd->failure ? std::optional(turnEnd->cause) : std::nullopt;
  co_return turnEnd;
}

awaitable<void> TranscriptWriter::store(std::vector<TranscriptAction> actions) {
  Sign sign = Sign::none;
  for (const TranscriptAction& action : actions) sign = std::max(sign, signOf(action));
  if (!co_await items_->apply(conversationId_, std::move(actions))) throw ConversationGoneError();
  if (sign == Sign::call || (sign == Sign::work && state_ && isWaiting(*state_))) co_await announceWork();
}

awaitable<void> TranscriptWriter::announceGrowths(std::vector<Growth> growths) {
  for (Growth& growth : growths) {
    co_await modelContainer_->changeFeed()->announceGrowth(conversationId_, std::move(growth));
  }
}

awaitable<void> TranscriptWriter::announce(RunState::Kind kind) {
  return announceState({.kind = kind, .since = modelContainer_->clock().now()});
}

awaitable<void> TranscriptWriter::announceWork() {
  if (!isInFlight_) co_return;
  const auto call = co_await items_->newestRunningInvocation(conversationId_);
  if (!call) co_return co_await announce(RunState::Kind::thinking);
  co_await announceState({.kind = RunState::Kind::runningTool, .since = call->since, .invocation = call->id});
}

awaitable<void> TranscriptWriter::announceState(RunState state) {
  if (!isInFlight_) co_return;
  if (state_ && state.kind != RunState::Kind::retrying && state.kind == state_->kind &&
      state.invocation == state_->invocation) {
    co_return;
  }
  state_ = state;
  co_await modelContainer_->changeFeed()->announceState(conversationId_, std::move(state));
}

awaitable<void> TranscriptWriter::loseSession(std::optional<std::string> successor) {
  return store({turn::AppendCompactionEvent{.rawJSON = {}, .text = std::string(kLostSession)},
                turn::SetSession{std::move(successor)}});
}

awaitable<void> TranscriptWriter::endLate() { return end(kUnfinishedTool, std::nullopt); }

awaitable<void> TranscriptWriter::end(std::string_view unfinishedToolOutput, std::optional<PromptOutcome> outcome) {
  if (!co_await items_->endRun(conversationId_, std::string(unfinishedToolOutput), outcome)) {
    throw ConversationGoneError();
  }
}

}  // namespace ravant
