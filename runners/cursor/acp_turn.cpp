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

AcpTurn::AcpTurn(std::string model, const AcpTurn* previous) : model_(std::move(model)) {
  if (!previous) return;
  usage_ = previous->usage_;
  earlierCalls_ = previous->earlierCalls_;
  for (const auto& [id, call] : previous->calls_) earlierCalls_.insert(id);
}

std::vector<turn::Action> AcpTurn::ingest(const acp::Update& update, std::string_view line) {
  Actions actions;
  std::visit(Overloaded{[&](const acp::MessageChunk& chunk) { ingestChunk(chunk, line, actions); },
                        [&](const acp::ToolCall& call) { ingestToolCall(call, line, actions); },
                        [&](const acp::ContextUsage& context) { ingestContext(context, actions); },
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

void AcpTurn::ingestContext(const acp::ContextUsage& context, Actions& actions) {
  if (context.size > 0 && usage_.maxTokens != context.size) {
    usage_.maxTokens = context.size;
    actions.emplace_back(turn::ApplyContextWindow{context.size});
  }
  if (context.used <= 0) return;
  usage_.usedTokens = std::min(context.used, usage_.maxTokens.value_or(context.used));
  if (usage_.totalProcessedTokens == 0) usage_.totalProcessedTokens = context.used;
  applyUsage(std::nullopt, actions);
}

void AcpTurn::applyUsage(std::optional<std::string> messageId, Actions& actions) {
  actions.emplace_back(turn::ApplyUsage{.providerMessageId = std::move(messageId), .snapshot = usage_});
}

void AcpTurn::ingestChunk(const acp::MessageChunk& chunk, std::string_view line, Actions& actions) {
  if (trimmed(chunk.text) == kStreamClosed) {
    isStreamClosed_ = true;
    return;
  }
  if (chunk.text.empty()) return;
  isStreamClosed_ = false;
  if (chunk.messageId && messageId_ && *chunk.messageId != *messageId_) flush(actions);
  const bool isFirst = messageBuffer_.empty();
  if (isFirst) {
    messageLine_ = line;
    messageId_ = chunk.messageId;
  }
  messageBuffer_ += chunk.text;
  actions.emplace_back(turn::Grow{.text = chunk.text, .isNewMessage = isFirst});
}

void AcpTurn::ingestToolCall(const acp::ToolCall& told, std::string_view line, Actions& actions) {
  if (told.id.empty()) return;
  isStreamClosed_ = false;
  flush(actions);
  const auto known = calls_.find(told.id);
  // Agents count their calls anew, so one that begins again is another one.
  const bool isOver = known != calls_.end() && known->second.status != ToolInvocationStatus::running;
  if (known != calls_.end() && !(told.isNew && isOver)) return update(known->second, told, actions);
  if (!told.isNew && earlierCalls_.contains(told.id)) return update(calls_[told.id], told, actions);
  insert(told, line, actions);
}

void AcpTurn::insert(const acp::ToolCall& told, std::string_view line, Actions& actions) {
  Call& call = calls_[told.id] =
      Call{.name = told.title.value_or(told.kind.value_or("tool")), .input = told.input.value_or(std::string())};
  takeOutput(call, told);
  call.status = told.status.value_or(ToolInvocationStatus::running);
  turn::AppendToolInvocation added{.rawJSON = std::string(line),
                                   .text = call.name,
                                   .toolName = call.name,
                                   .toolCallId = told.id,
                                   .input = told.input,
                                   .status = call.status};
  if (!call.output.empty()) added.output = call.output;
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
  turn::UpdateToolInvocation update{.toolCallId = told.id};
  update.toolName = changed(call.name, told.title);
  update.input = changed(call.input, told.input);
  const bool isOutputNew = takeOutput(call, told);
  const auto status = told.status.value_or(call.status);
  const bool isRunning = status == ToolInvocationStatus::running;
  if (isRunning && isOutputNew) update.output = call.output;
  if (update.toolName || update.input || update.output) actions.emplace_back(std::move(update));

  const bool isEnd = std::exchange(call.status, status) != status || isOutputNew;
  if (isRunning || !isEnd) return;
  actions.emplace_back(turn::CompleteToolInvocation{
      .toolCallId = told.id,
      .output = call.output,
      .outcome = status == ToolInvocationStatus::failed ? ToolOutcome::failed : ToolOutcome::completed});
}

std::vector<turn::Action> AcpTurn::onPromptEnd(const acp::PromptEnd& end) {
  Actions actions = flushMessageBuffer();
  if (end.usage) {
    // What fills the context is told by the agent's own reports, where it sends them.
    const TokenUsageSnapshot former = std::exchange(usage_, *end.usage);
    usage_.maxTokens = former.maxTokens;
    if (former.usedTokens > 0 && former.maxTokens) usage_.usedTokens = former.usedTokens;
    applyUsage(messageId_, actions);
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

}  // namespace ravant
