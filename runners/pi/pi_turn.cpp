#include "runners/pi/pi_turn.hpp"

#include <fmt/format.h>

#include <utility>

#include "core/overloaded.hpp"
#include "platform/log/log.hpp"
#include "platform/text/text.hpp"

namespace ravant {
namespace {

constexpr Log kLog("com.ravant.runners", "PiTurn");

}  // namespace

std::vector<turn::Action> PiTurn::onLine(std::string_view line) {
  Actions actions;
  const auto event = pi::parseLine(parser_, line);
  if (!event) return actions;
  std::visit(Overloaded{[&](const pi::SessionLine& session) {
                          if (session.id.empty() || session.id == sessionId_) return;
                          sessionId_ = session.id;
                          actions.emplace_back(turn::SetSession{sessionId_});
                        },
                        [&](const pi::TextDelta& delta) { ingestPiTextDelta(delta, line, actions); },
                        [&](const pi::AssistantMessage& message) { ingestPiMessageEnd(message, line, actions); },
                        [&](const pi::ToolResult& result) { ingestPiToolEnd(result, actions); },
                        [&](const pi::CompactionStart& compaction) {
                          actions.emplace_back(turn::AppendCompactionEvent{
                              .rawJSON = std::string(line),
                              .text = compaction.reason ? fmt::format("Context compacted ({})", *compaction.reason)
                                                        : "Context compacted"});
                        },
                        [&](const pi::RetryStart& retry) {
                          kLog.info("the agent tries again after an error, attempt {} of {}", retry.attempt,
                                    retry.maxAttempts);
                        },
                        [&](const pi::RetryEnd& retry) {
                          if (!retry.success && retry.finalError) error_ = retry.finalError;
                        },
                        [&](const pi::AgentEnd& end) { hasAgentEnded_ = !end.willRetry; },
                        [&](const pi::AgentSettled&) { finish(actions); }},
             *event);
  return actions;
}

std::vector<turn::Action> PiTurn::onCommandEnd() {
  Actions actions;
  flushGrowingTexts(actions);
  if (hasAgentEnded_ || error_) {
    finish(actions);
  } else if (usage_) {
    actions.emplace_back(*std::exchange(usage_, std::nullopt));
  }
  return actions;
}

void PiTurn::ingestPiTextDelta(const pi::TextDelta& delta, std::string_view line, Actions& actions) {
  const auto [growing, isNew] = growingTexts_.try_emplace(delta.contentIndex);
  if (isNew) growing->second.line = line;
  growing->second.text += delta.text;
  actions.emplace_back(turn::Grow{.text = delta.text, .isNewMessage = isNew});
}

void PiTurn::flushGrowingTexts(Actions& actions) {
  for (auto& [place, growing] : std::exchange(growingTexts_, {})) {
    if (trimmed(growing.text).empty()) continue;
    actions.emplace_back(turn::AppendAgentMessage{.rawJSON = std::move(growing.line), .text = std::move(growing.text)});
  }
}

void PiTurn::ingestPiMessageEnd(const pi::AssistantMessage& message, std::string_view line, Actions& actions) {
  growingTexts_.clear();
  for (const auto& block : message.blocks) {
    if (const auto* call = std::get_if<pi::ToolCallBlock>(&block)) {
      toolResults_.erase(call->id);
      actions.emplace_back(turn::AppendToolInvocation{.rawJSON = std::string(line),
                                                      .text = call->name,
                                                      .toolName = call->name,
                                                      .toolCallId = call->id,
                                                      .input = call->arguments});
      continue;
    }
    const std::string& text = std::get<pi::TextBlock>(block).text;
    if (trimmed(text).empty()) continue;
    actions.emplace_back(turn::AppendAgentMessage{.rawJSON = std::string(line),
                                                  .text = text,
                                                  .agentModel = message.model,
                                                  .providerMessageId = message.responseId});
  }
  error_ = message.error;
  if (message.usage) usage_ = turn::ApplyUsage{.providerMessageId = message.responseId, .snapshot = *message.usage};
}

void PiTurn::ingestPiToolEnd(const pi::ToolResult& result, Actions& actions) {
  if (!toolResults_.insert(result.toolCallId).second) return;
  actions.emplace_back(
      turn::CompleteToolInvocation{.toolCallId = result.toolCallId,
                                   .output = result.text,
                                   .outcome = result.isError ? ToolOutcome::failed : ToolOutcome::completed});
}

void PiTurn::finish(Actions& actions) {
  if (std::exchange(isOver_, true)) return;
  if (usage_) actions.emplace_back(*std::exchange(usage_, std::nullopt));
  if (error_) {
    actions.emplace_back(turn::Fail{*error_});
  } else {
    actions.emplace_back(turn::Finish{});
  }
}

}  // namespace ravant
