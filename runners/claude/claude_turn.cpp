#include "runners/claude/claude_turn.hpp"

#include <fmt/format.h>

#include "core/overloaded.hpp"
#include "platform/text/text.hpp"

namespace ravant {
namespace {

constexpr std::string_view kNotAsRoot = "cannot be used with root";

}  // namespace

std::vector<turn::Action> ClaudeTurn::onLine(std::string_view text) {
  Actions actions;
  const auto line = claude::parseLine(parser_, text, contextWindow_);
  if (!line) return actions;

  const auto* result = line->event ? std::get_if<claude::ResultLine>(&*line->event) : nullptr;
  const bool isSessionOfAgent = !(result && result->isUnknownSession);
  if (line->sessionId && line->sessionId != sessionId_ && isSessionOfAgent) {
    sessionId_ = line->sessionId;
    actions.emplace_back(turn::SetSession{sessionId_});
  }
  if (!line->event) return actions;
  std::visit(Overloaded{[&](const claude::AssistantLine& event) { ingestClaudeAssistantMessage(event, text, actions); },
                        [&](const claude::UserLine& event) { ingestClaudeUserMessage(event, actions); },
                        [&](const claude::CompactBoundaryLine& event) { ingestClaudeSystemLine(event, text, actions); },
                        [&](const claude::RetryLine& event) {
                          actions.emplace_back(turn::Retry{.reason = event.reason, .after = event.after});
                        },
                        [&](const claude::ResultLine& event) { ingestClaudeResultLine(event, text, actions); }},
             *line->event);
  return actions;
}

std::vector<turn::Action> ClaudeTurn::onCommandEnd() {
  Actions actions;
  showHeldBack(actions);
  return actions;
}

std::string_view ClaudeTurn::advice(std::string_view standardError) const {
  if (!standardError.contains(kNotAsRoot)) return {};
  return "Claude Code does not run as root unless it is told that this machine is a sandbox. If it is one, run: ravant "
         "settings set claude.asRoot true. Otherwise run Ravant as another user.";
}

void ClaudeTurn::ingestClaudeAssistantMessage(const claude::AssistantLine& message, std::string_view line,
                                              Actions& actions) {
  showHeldBack(actions);
  for (const claude::AssistantBlock& block : message.blocks) {
    if (const auto* use = std::get_if<claude::ToolUseBlock>(&block)) {
      actions.emplace_back(turn::AppendToolInvocation{.rawJSON = std::string(line),
                                                      .text = use->name,
                                                      .toolName = use->name,
                                                      .toolCallId = use->id.empty() ? namelessCalls_.begin() : use->id,
                                                      .input = use->input});
      continue;
    }
    const auto* thinking = std::get_if<claude::ThinkingBlock>(&block);
    const std::string& text = thinking ? thinking->text : std::get<claude::TextBlock>(block).text;
    if (message.isOfSubagent || trimmed(text).empty()) continue;
    if (thinking) {
      actions.emplace_back(turn::Grow{.text = text, .isNewMessage = true, .kind = GrowthKind::reasoning});
      continue;
    }
    turn::AppendAgentMessage shown{.rawJSON = std::string(line),
                                   .text = text,
                                   .agentModel = message.model,
                                   .providerMessageId = message.messageId};
    if (message.isSynthetic) {
      showHeldBack(actions);
      heldBack_ = std::move(shown);
    } else {
      append(std::move(shown), actions);
    }
  }
  if (message.usage && !message.isOfSubagent) {
    hasSeveralReplies_ |= lastUsage_ && lastUsage_->providerMessageId != message.messageId;
    lastUsage_ = turn::ApplyUsage{.providerMessageId = message.messageId, .snapshot = *message.usage};
    actions.emplace_back(*lastUsage_);
  }
}

void ClaudeTurn::ingestClaudeUserMessage(const claude::UserLine& message, Actions& actions) {
  for (const claude::ToolResult& result : message.results) {
    const auto call = result.toolUseId.empty() ? namelessCalls_.end() : result.toolUseId;
    if (!call) continue;
    actions.emplace_back(
        turn::CompleteToolInvocation{.toolCallId = *call,
                                     .output = result.text,
                                     .outcome = result.isError ? ToolOutcome::failed : ToolOutcome::completed});
  }
}

void ClaudeTurn::ingestClaudeSystemLine(const claude::CompactBoundaryLine& boundary, std::string_view line,
                                        Actions& actions) {
  showHeldBack(actions);
  actions.emplace_back(turn::AppendCompactionEvent{
      .rawJSON = std::string(line),
      .text = boundary.trigger ? fmt::format("Context compacted ({})", *boundary.trigger) : "Context compacted"});
}

void ClaudeTurn::ingestClaudeResultLine(const claude::ResultLine& result, std::string_view line, Actions& actions) {
  if (result.contextWindow) {
    contextWindow_ = result.contextWindow;
    actions.emplace_back(turn::ApplyContextWindow{*contextWindow_});
  }
  if (std::exchange(isOver_, true)) return showHeldBack(actions);
  correctOutputCount(result, actions);
  if (result.isUnknownSession && resumedSessionId_) {
    // The prompt is given again: the turn has no end here.
    isSessionUnknown_ = true;
    return;
  }
  if (result.isError) {
    if (heldBack_ && heldBack_->text == result.failure) heldBack_.reset();
    showHeldBack(actions);
    actions.emplace_back(
        turn::Fail{.text = result.failure, .cause = result.isLimit ? FailureCause::limit : FailureCause::error});
    return;
  }
  showHeldBack(actions);
  if (!hasShownMessage_ && !trimmed(result.reply).empty()) {
    append({.rawJSON = std::string(line), .text = result.reply}, actions);
  }
  actions.emplace_back(turn::Finish{});
}

void ClaudeTurn::correctOutputCount(const claude::ResultLine& result, Actions& actions) {
  // Replies carry the count from when they began; the result has the run's sum, which is the
  // message's own count where the run had one reply.
  if (!lastUsage_ || result.outputTokens.value_or(0) <= 0) return;
  turn::ApplyUsage corrected = *lastUsage_;
  corrected.snapshot.outputTokens = *result.outputTokens;
  if (hasSeveralReplies_) corrected.providerMessageId.reset();
  actions.emplace_back(std::move(corrected));
}

void ClaudeTurn::showHeldBack(Actions& actions) {
  if (heldBack_) append(*std::exchange(heldBack_, std::nullopt), actions);
}

void ClaudeTurn::append(turn::AppendAgentMessage message, Actions& actions) {
  hasShownMessage_ = true;
  actions.emplace_back(std::move(message));
}

}  // namespace ravant
