#include "runners/cursor/acp_turn.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "core/overloaded.hpp"
#include "platform/log/log.hpp"
#include "platform/text/text.hpp"

namespace ravant {
namespace {

constexpr Log kLog("com.ravant.runners", "CursorAcp");

/// How a turn failed that the agent ended; nothing where it did what was asked.
std::optional<turn::Fail> unfinished(std::string_view stopReason) {
  if (stopReason == "max_tokens") {
    return turn::Fail{.text = "the agent stopped: the model's limit of tokens was reached (max_tokens)",
                      .cause = FailureCause::limit};
  }
  if (stopReason == "max_turn_requests") {
    return turn::Fail{.text = "the agent stopped: its limit of model calls in one turn was reached (max_turn_requests)",
                      .cause = FailureCause::limit};
  }
  if (stopReason == "refusal") return turn::Fail{"the agent refused to go on (refusal)"};
  if (stopReason.empty() || stopReason == "end_turn" || stopReason == "cancelled") return std::nullopt;
  return turn::Fail{fmt::format("the agent stopped: {}", stopReason)};
}

ToolOutcome outcomeOf(ToolInvocationStatus status) {
  return status == ToolInvocationStatus::failed ? ToolOutcome::failed : ToolOutcome::completed;
}

}  // namespace

AcpTurn::AcpTurn(std::string model, const AcpTurn* previous) {
  if (!model.empty()) model_ = std::move(model);
  if (!previous) return;
  contextSize_ = previous->contextSize_;
  olderCalls_ = previous->olderCalls_;
  for (const auto& [id, call] : previous->earlierCalls_) olderCalls_.insert_or_assign(id, call.steps);
  for (const auto& [id, call] : previous->calls_) {
    if (call.status == ToolInvocationStatus::running) {
      earlierCalls_.emplace(id, call);
    } else {
      olderCalls_.insert_or_assign(id, call.steps);
    }
  }
}

std::vector<turn::Action> AcpTurn::ingest(const acp::Update& update, std::string_view line) {
  Actions actions;
  std::visit(Overloaded{[&](const acp::MessageChunk& chunk) {
                          if (chunk.kind == GrowthKind::reasoning) return ingestThought(chunk, actions);
                          ingestMessage(chunk, line, actions);
                        },
                        [&](const acp::ToolCall& call) { ingestToolCall(call, line, actions); },
                        [&](const acp::ContextUsage& context) { ingestContext(context, actions); },
                        [&](const acp::Compaction&) {
                          flush(actions);
                          actions.emplace_back(
                              turn::AppendCompactionEvent{.rawJSON = std::string(line), .text = "Context compacted"});
                        },
                        [](const acp::ConfigChange&) {},
                        [](const acp::NotRendered& other) { kLog.debug("CursorAcp unhandled update {}", other.kind); }},
             update);
  return actions;
}

void AcpTurn::ingestContext(const acp::ContextUsage& context, Actions& actions) {
  if (context.size > 0 && contextSize_ != context.size) {
    contextSize_ = context.size;
    actions.emplace_back(turn::ApplyContextWindow{context.size});
  }
  if (context.used <= 0) return;
  contextUsed_ = context.used;
  actions.emplace_back(turn::ApplyContextUse{withinContext(context.used)});
}

std::int64_t AcpTurn::withinContext(std::int64_t tokens) const {
  return std::min(tokens, contextSize_.value_or(tokens));
}

void AcpTurn::ingestThought(const acp::MessageChunk& chunk, Actions& actions) {
  if (chunk.text.empty() || isOver_) return;
  const bool isNew = !std::exchange(isThinking_, true) || thoughtId_ != chunk.messageId;
  thoughtId_ = chunk.messageId;
  actions.emplace_back(turn::Grow{.text = chunk.text, .isNewMessage = isNew, .kind = GrowthKind::reasoning});
}

void AcpTurn::ingestMessage(const acp::MessageChunk& chunk, std::string_view line, Actions& actions) {
  if (chunk.text.empty()) return;
  if (chunk.messageId && messageId_ && *chunk.messageId != *messageId_) flush(actions);
  if (messageBuffer_.empty() && !streamBreak_.isHolding()) beginMessage(chunk, line);
  for (const AcpStreamBreak::Piece& piece : streamBreak_.take(chunk.text)) {
    say(piece.text, actions);
    if (!piece.isBroken) continue;
    store(actions);
    beginMessage(chunk, line);
    noteBreak(actions);
  }
}

void AcpTurn::beginMessage(const acp::MessageChunk& chunk, std::string_view line) {
  messageLine_ = line;
  messageId_ = chunk.messageId;
}

void AcpTurn::say(const std::string& text, Actions& actions) {
  if (text.empty()) return;
  isThinking_ = false;
  if (!trimmed(text).empty()) isStreamClosed_ = false;
  actions.emplace_back(turn::Grow{.text = text, .isNewMessage = messageBuffer_.empty()});
  messageBuffer_ += text;
}

void AcpTurn::ingestToolCall(const acp::ToolCall& told, std::string_view line, Actions& actions) {
  if (!told.id) return kLog.warning("a tool call without an id was dropped");
  flush(actions);
  isThinking_ = false;
  const auto known = calls_.find(*told.id);
  // Agents count their calls anew, so one that begins again is another one.
  const bool isOver = known != calls_.end() && known->second.status != ToolInvocationStatus::running;
  if (known != calls_.end() && !(told.isNew && isOver)) return update(known->second, told, actions);
  if (told.isNew) return insert(told, line, actions);
  if (auto earlier = earlierCalls_.extract(*told.id)) {
    return update(calls_.insert(std::move(earlier)).position->second, told, actions);
  }
  const auto older = olderCalls_.find(*told.id);
  if (older != olderCalls_.end()) return updateOlder(older->second, told, actions);
  insert(told, line, actions);
}

void AcpTurn::insert(const acp::ToolCall& told, std::string_view line, Actions& actions) {
  isStreamClosed_ = false;
  Call& call = calls_[*told.id] =
      Call{.name = told.title.value_or(told.kind.value_or("tool")), .input = told.input.value_or(std::string())};
  takeOutput(call, told);
  call.status = told.status.value_or(ToolInvocationStatus::running);
  turn::AppendToolInvocation added{.rawJSON = std::string(line),
                                   .text = call.name,
                                   .toolName = call.name,
                                   .toolCallId = *told.id,
                                   .input = told.input,
                                   .status = call.status};
  if (!call.output.empty()) {
    added.output = call.status == ToolInvocationStatus::running ? call.steps.next(call.output) : call.output;
  }
  actions.emplace_back(std::move(added));
}

bool AcpTurn::takeOutput(Call& call, const acp::ToolCall& told) {
  const auto& output = told.output || call.isOutputShown ? told.output : told.rawOutput;
  if (told.output) call.isOutputShown = true;
  return output && std::exchange(call.output, *output) != *output;
}

void AcpTurn::update(Call& call, const acp::ToolCall& told, Actions& actions) {
  const auto changed = [](std::string& known, const std::optional<std::string>& now) {
    return now && std::exchange(known, *now) != *now ? now : std::nullopt;
  };
  turn::UpdateToolInvocation update{.toolCallId = *told.id};
  update.toolName = changed(call.name, told.title);
  update.input = changed(call.input, told.input);
  const bool isOutputNew = takeOutput(call, told);
  const auto status = told.status.value_or(call.status);
  const bool isRunning = status == ToolInvocationStatus::running;
  if (isOutputNew && isRunning) update.output = call.steps.next(call.output);
  if (isOutputNew || !isRunning) call.isOutputUntold = isRunning && !update.output;
  if (update.toolName || update.input || update.output) actions.emplace_back(std::move(update));

  const bool isEnd = std::exchange(call.status, status) != status || isOutputNew;
  if (isRunning || !isEnd) return;
  actions.emplace_back(
      turn::CompleteToolInvocation{.toolCallId = *told.id, .output = call.output, .outcome = outcomeOf(status)});
}

// What the call had shown is no longer known; it stands unless something else is told.
void AcpTurn::updateOlder(OutputSteps& steps, const acp::ToolCall& told, Actions& actions) {
  if (!told.output) return;
  if (told.status.value_or(ToolInvocationStatus::running) == ToolInvocationStatus::running) {
    auto output = steps.next(*told.output);
    if (output) actions.emplace_back(turn::UpdateToolInvocation{.toolCallId = *told.id, .output = std::move(output)});
  } else {
    actions.emplace_back(turn::CompleteToolInvocation{
        .toolCallId = *told.id, .output = *told.output, .outcome = outcomeOf(*told.status)});
  }
}

std::vector<turn::Action> AcpTurn::onPromptEnd(const acp::PromptEnd& end) {
  isOver_ = true;
  Actions actions = flushMessageBuffer();
  if (end.usage) {
    TokenUsageSnapshot snapshot = *end.usage;
    // What fills the context is told by the agent's own reports, where it sends them.
    snapshot.usedTokens = withinContext(contextUsed_.value_or(snapshot.usedTokens));
    snapshot.maxTokens = contextSize_;
    actions.emplace_back(turn::ApplyUsage{.providerMessageId = messageId_, .snapshot = snapshot});
  }
  if (auto fail = unfinished(end.stopReason)) {
    actions.emplace_back(*std::move(fail));
  } else if (isStreamClosed_ && end.stopReason != "cancelled") {
    actions.emplace_back(turn::Fail{std::string(AcpStreamBreak::kWords)});
  } else {
    actions.emplace_back(turn::Finish{});
  }
  return actions;
}

std::vector<turn::Action> AcpTurn::flushMessageBuffer() {
  Actions actions;
  flush(actions);
  return actions;
}

std::vector<turn::Action> AcpTurn::close() {
  isOver_ = true;
  Actions actions = flushMessageBuffer();
  for (auto& [id, call] : calls_) {
    if (!std::exchange(call.isOutputUntold, false)) continue;
    actions.emplace_back(turn::UpdateToolInvocation{.toolCallId = id, .output = OutputSteps::shortened(call.output)});
  }
  return actions;
}

void AcpTurn::flush(Actions& actions) {
  const AcpStreamBreak::Piece rest = streamBreak_.release();
  say(rest.text, actions);
  store(actions);
  if (rest.isBroken) noteBreak(actions);
}

void AcpTurn::noteBreak(Actions& actions) {
  isStreamClosed_ = true;
  actions.emplace_back(turn::Retry{.reason = std::string(AcpStreamBreak::kWords)});
}

void AcpTurn::store(Actions& actions) {
  std::string text = std::exchange(messageBuffer_, {});
  if (trimmed(text).empty()) return;
  actions.emplace_back(turn::AppendAgentMessage{.rawJSON = std::exchange(messageLine_, {}),
                                                .text = std::move(text),
                                                .agentModel = model_,
                                                .providerMessageId = messageId_});
}

}  // namespace ravant
