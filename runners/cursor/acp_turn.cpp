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

// What Cursor says in place of a message when the stream of its model breaks. It may go on by itself.
constexpr std::string_view kStreamClosed = "Error: RetriableError: WritableIterable is closed";

/// Why a turn that the agent ended was not done; nothing where it was.
std::optional<std::string> unfinishedWords(std::string_view stopReason) {
  if (stopReason == "max_tokens") return "the agent stopped: the model's limit of tokens was reached (max_tokens)";
  if (stopReason == "max_turn_requests") {
    return "the agent stopped: its limit of model calls in one turn was reached (max_turn_requests)";
  }
  if (stopReason == "refusal") return "the agent refused to go on (refusal)";
  if (stopReason.empty() || stopReason == "end_turn" || stopReason == "cancelled") return std::nullopt;
  return fmt::format("the agent stopped: {}", stopReason);
}

}  // namespace

std::vector<turn::Action> AcpTurn::ingest(const acp::Update& update, std::string_view line) {
  Actions actions;
  std::visit(
      Overloaded{[&](const acp::MessageChunk& chunk) { ingestChunk(chunk, line, actions); },
                 [&](const acp::ToolCall& call) { ingestToolCall(call, line, actions); },
                 [&](const acp::ContextUsage& usage) {
                   if (usage.used <= 0) return;
                   context_ = usage;
                   actions.emplace_back(turn::ApplyUsage{.providerMessageId = std::nullopt,
                                                         .snapshot = snapshotOf({.totalProcessedTokens = usage.used})});
                 },
                 [&](const acp::Compaction&) {
                   flush(actions);
                   actions.emplace_back(
                       turn::AppendCompactionEvent{.rawJSON = std::string(line), .text = "Context compacted"});
                 },
                 [](const acp::Unknown& unknown) { kLog.debug("CursorAcp unhandled update {}", unknown.kind); },
                 [](const auto&) {}},
      update);
  return actions;
}

void AcpTurn::ingestChunk(const acp::MessageChunk& chunk, std::string_view line, Actions& actions) {
  if (trimmed(chunk.text) == kStreamClosed) {
    isStreamClosed_ = true;
    return;
  }
  if (chunk.text.empty()) return;
  isStreamClosed_ = false;
  if (chunk.messageId && messageId_ && *chunk.messageId != *messageId_) flush(actions);
  if (messageBuffer_.empty()) {
    messageLine_ = line;
    messageId_ = chunk.messageId;
  }
  messageBuffer_ += chunk.text;
  actions.emplace_back(turn::Grow{chunk.text});
}

void AcpTurn::ingestToolCall(const acp::ToolCall& told, std::string_view line, Actions& actions) {
  if (told.id.empty()) return;
  isStreamClosed_ = false;
  flush(actions);
  const auto known = calls_.find(told.id);
  // Agents count their calls anew, so one that begins again is another one.
  const bool isOver = known != calls_.end() && known->second.status != ToolInvocationStatus::running;
  if (known == calls_.end() || (told.isNew && isOver)) return insert(told, line, actions);
  update(known->second, told, actions);
}

void AcpTurn::insert(const acp::ToolCall& told, std::string_view line, Actions& actions) {
  Call call{.name = told.title.value_or(told.kind.value_or("tool")),
            .input = told.input.value_or(std::string()),
            .output = told.output.value_or(std::string()),
            .status = told.status.value_or(ToolInvocationStatus::running)};
  actions.emplace_back(turn::AppendToolInvocation{.rawJSON = std::string(line),
                                                  .text = call.name,
                                                  .toolName = call.name,
                                                  .toolCallId = told.id,
                                                  .input = told.input,
                                                  .output = told.output,
                                                  .status = call.status});
  calls_.insert_or_assign(told.id, std::move(call));
}

void AcpTurn::update(Call& call, const acp::ToolCall& told, Actions& actions) {
  const bool isRunning = told.status.value_or(call.status) == ToolInvocationStatus::running;
  turn::UpdateToolInvocation update{.toolCallId = told.id};
  const auto changed = [](std::string& known, const std::optional<std::string>& now) {
    const bool isOther = now && *now != known;
    if (isOther) known = *now;
    return isOther ? now : std::nullopt;
  };
  update.toolName = changed(call.name, told.title);
  update.input = changed(call.input, told.input);
  auto output = changed(call.output, told.output);
  const bool isOutputNew = output.has_value();
  if (isRunning) update.output = std::move(output);
  if (update.toolName || update.input || update.output) actions.emplace_back(std::move(update));

  if (isRunning || (told.status.value_or(call.status) == call.status && !isOutputNew)) return;
  call.status = told.status.value_or(call.status);
  actions.emplace_back(turn::CompleteToolInvocation{
      .toolCallId = told.id,
      .output = call.output,
      .outcome = call.status == ToolInvocationStatus::failed ? ToolOutcome::failed : ToolOutcome::completed});
}

std::vector<turn::Action> AcpTurn::onPromptEnd(const acp::PromptEnd& end) {
  Actions actions = flushMessageBuffer();
  if (end.usage) {
    actions.emplace_back(turn::ApplyUsage{.providerMessageId = messageId_, .snapshot = snapshotOf(*end.usage)});
  }
  if (auto words = unfinishedWords(end.stopReason)) {
    actions.emplace_back(turn::Fail{*std::move(words)});
  } else if (isStreamClosed_ && end.stopReason != "cancelled") {
    actions.emplace_back(turn::Fail{std::string(kStreamClosed)});
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

void AcpTurn::flush(Actions& actions) {
  std::string text = std::exchange(messageBuffer_, {});
  if (trimmed(text).empty()) return;
  actions.emplace_back(turn::AppendAgentMessage{.rawJSON = std::exchange(messageLine_, {}),
                                                .text = std::move(text),
                                                .agentModel = model_,
                                                .providerMessageId = messageId_});
}

TokenUsageSnapshot AcpTurn::snapshotOf(TokenUsageSnapshot usage) const {
  if (context_.used > 0) usage.usedTokens = context_.used;
  if (context_.size > 0) {
    usage.maxTokens = context_.size;
    usage.usedTokens = std::min(usage.usedTokens, context_.size);
  }
  return usage;
}

}  // namespace ravant
