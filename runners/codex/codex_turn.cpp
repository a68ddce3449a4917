#include "runners/codex/codex_turn.hpp"

#include <utility>

#include "core/overloaded.hpp"
#include "platform/log/log.hpp"
#include "platform/text/text.hpp"

namespace ravant {
namespace {

constexpr Log kLog("com.ravant.runners", "CodexTurn");

}  // namespace

std::vector<turn::Action> CodexTurn::onStarted(std::string turnId) {
  Actions actions;
  turnId_ = std::move(turnId);
  if (const auto ended = endedBeforeStart_.find(*turnId_); ended != endedBeforeStart_.end()) {
    end(ended->second, actions);
  }
  endedBeforeStart_.clear();
  return actions;
}

std::vector<turn::Action> CodexTurn::ingest(std::string_view method, const json::object& params,
                                            std::string_view line) {
  Actions actions;
  const auto event = codex::parseNotification(method, params);
  if (!event) return actions;
  const std::string turnId = codex::turnIdOf(params);
  std::visit(Overloaded{[&](const codex::ItemEvent& item) { ingestCodexItem(item, isOurs(turnId), line, actions); },
                        [&](const codex::MessageDelta& delta) { actions.emplace_back(turn::Grow{delta.text}); },
                        [&](const codex::UsageEvent& report) {
                          if (!report.usage) return;
                          actions.emplace_back(
                              turn::ApplyUsage{.providerMessageId = std::exchange(lastAgentMessageId_, std::nullopt),
                                               .snapshot = *report.usage});
                        },
                        [&](const codex::ErrorEvent& error) {
                          if (error.willRetry) {
                            kLog.info("a model call failed and is tried again");
                          } else {
                            error_ = error.message;
                          }
                        },
                        [&](const codex::TurnEnded& ended) {
                          if (!turnId_) {
                            endedBeforeStart_.insert_or_assign(ended.turnId, ended);
                          } else if (isOurs(ended.turnId)) {
                            end(ended, actions);
                          }
                        }},
             *event);
  return actions;
}

void CodexTurn::ingestCodexItem(const codex::ItemEvent& event, bool isOurs, std::string_view line, Actions& actions) {
  if (const auto* tool = std::get_if<codex::ToolItem>(&event.item)) {
    return ingestTool(*tool, event.stage, isOurs, line, actions);
  }
  if (event.stage != codex::ItemStage::completed) return;
  if (std::holds_alternative<codex::CompactionItem>(event.item)) {
    actions.emplace_back(turn::AppendCompactionEvent{.rawJSON = std::string(line), .text = "Context compacted"});
    return;
  }
  const auto& message = std::get<codex::MessageItem>(event.item);
  if (trimmed(message.text).empty()) return;
  lastAgentMessageId_ = message.id.empty() ? std::nullopt : std::optional(message.id);
  actions.emplace_back(turn::AppendAgentMessage{.rawJSON = std::string(line),
                                                .text = message.text,
                                                .agentModel = model_,
                                                .providerMessageId = lastAgentMessageId_});
}

void CodexTurn::ingestTool(const codex::ToolItem& tool, codex::ItemStage stage, bool isOurs, std::string_view line,
                           Actions& actions) {
  const bool isRunning = tool.status == ToolInvocationStatus::running;
  // A call of an earlier turn is in the transcript since then.
  const auto [known, isNew] = insertedToolCallIds_.try_emplace(tool.callId, tool.input);
  if (isNew && (isOurs || stage == codex::ItemStage::started)) {
    turn::AppendToolInvocation added{.rawJSON = std::string(line),
                                     .text = tool.name,
                                     .toolName = tool.name,
                                     .toolCallId = tool.callId,
                                     .status = tool.status};
    if (!tool.input.empty()) added.input = tool.input;
    if (!isRunning) added.output = tool.output;
    actions.emplace_back(std::move(added));
    return;
  }
  if (stage == codex::ItemStage::started) return;  // told again, or behind its own end
  turn::UpdateToolInvocation update{.toolCallId = tool.callId};
  if (std::exchange(known->second, tool.input) != tool.input) update.input = tool.input;
  if (isRunning && !tool.output.empty()) update.output = tool.output;
  if (update.input || update.output) actions.emplace_back(std::move(update));
  if (isRunning) return;
  actions.emplace_back(turn::CompleteToolInvocation{
      .toolCallId = tool.callId,
      .output = tool.output,
      .outcome = tool.status == ToolInvocationStatus::failed ? ToolOutcome::failed : ToolOutcome::completed});
}

void CodexTurn::end(const codex::TurnEnded& ended, Actions& actions) {
  if (std::exchange(isOver_, true)) return;
  if (ended.failed) {
    actions.emplace_back(turn::Fail{ended.error ? *ended.error : error_.value_or("unknown")});
  } else {
    actions.emplace_back(turn::Finish{});
  }
}

}  // namespace ravant
