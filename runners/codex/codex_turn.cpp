#include "runners/codex/codex_turn.hpp"

#include <algorithm>
#include <iterator>
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
  const std::string turnId = codex::extractTurnId(params).value_or(std::string());
  std::visit(Overloaded{[&](const codex::ItemEvent& item) { ingestCodexItem(item, isOurs(turnId), line, actions); },
                        [&](const codex::MessageDelta& delta) { ingestDelta(delta, line, actions); },
                        [&](const codex::UsageEvent& report) { ingestUsage(report, actions); },
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
  std::erase_if(growingMessages_, [&message](const GrowingMessage& growing) { return growing.id == message.id; });
  if (trimmed(message.text).empty()) return;
  if (!message.id.empty() && !insertedMessageIds_.insert(message.id).second) return;
  lastAgentMessageId_ = message.id.empty() ? std::nullopt : std::optional(message.id);
  actions.emplace_back(turn::AppendAgentMessage{.rawJSON = std::string(line),
                                                .text = message.text,
                                                .agentModel = model_,
                                                .providerMessageId = lastAgentMessageId_});
}

void CodexTurn::ingestDelta(const codex::MessageDelta& delta, std::string_view line, Actions& actions) {
  if (insertedMessageIds_.contains(delta.itemId)) return;
  auto growing = std::ranges::find(growingMessages_, delta.itemId, &GrowingMessage::id);
  const bool isNew = growing == growingMessages_.end();
  if (isNew) {
    growing =
        growingMessages_.insert(growing, GrowingMessage{.id = delta.itemId, .text = {}, .line = std::string(line)});
  }
  growing->text += delta.text;
  actions.emplace_back(turn::Grow{.text = delta.text, .isNewMessage = isNew});
}

std::vector<turn::Action> CodexTurn::flushMessages() {
  Actions actions;
  for (GrowingMessage& message : std::exchange(growingMessages_, {})) {
    if (trimmed(message.text).empty()) continue;
    insertedMessageIds_.insert(message.id);
    actions.emplace_back(
        turn::AppendAgentMessage{.rawJSON = std::move(message.line),
                                 .text = std::move(message.text),
                                 .agentModel = model_,
                                 .providerMessageId = message.id.empty() ? std::nullopt : std::optional(message.id)});
  }
  return actions;
}

void CodexTurn::ingestUsage(const codex::UsageEvent& report, Actions& actions) {
  if (!report.usage) return;
  actions.emplace_back(turn::ApplyUsage{.providerMessageId = std::exchange(lastAgentMessageId_, std::nullopt),
                                        .snapshot = *report.usage});
  const auto window = report.usage->maxTokens;
  if (!window || *window <= 0 || window == contextWindow_) return;
  contextWindow_ = window;
  actions.emplace_back(turn::ApplyContextWindow{*window});
}

void CodexTurn::ingestTool(const codex::ToolItem& tool, codex::ItemStage stage, bool isOurs, std::string_view line,
                           Actions& actions) {
  const bool isRunning = tool.status == ToolInvocationStatus::running;
  const auto [known, isNew] = insertedToolCalls_.try_emplace(tool.callId);
  Call& call = known->second;
  const auto changed = [](std::string& former, const std::optional<std::string>& now) {
    return now && std::exchange(former, *now) != *now;
  };
  const bool isInputNew = changed(call.input, tool.input);
  const bool isOutputNew = changed(call.output, tool.output);
  // A call of an earlier turn is in the transcript since then.
  if (isNew && (isOurs || stage == codex::ItemStage::started)) {
    turn::AppendToolInvocation added{.rawJSON = std::string(line),
                                     .text = tool.name,
                                     .toolName = tool.name,
                                     .toolCallId = tool.callId,
                                     .input = tool.input,
                                     .status = tool.status};
    if (!isRunning) added.output = call.output;
    actions.emplace_back(std::move(added));
    return;
  }
  if (stage == codex::ItemStage::started) return;  // told again, or behind its own end
  turn::UpdateToolInvocation update{.toolCallId = tool.callId};
  if (isInputNew && !isNew) update.input = call.input;
  if (isOutputNew && isRunning) update.output = call.output;
  if (update.input || update.output) actions.emplace_back(std::move(update));
  if (isRunning) return;
  actions.emplace_back(turn::CompleteToolInvocation{
      .toolCallId = tool.callId,
      .output = call.output,
      .outcome = tool.status == ToolInvocationStatus::failed ? ToolOutcome::failed : ToolOutcome::completed});
}

void CodexTurn::end(const codex::TurnEnded& ended, Actions& actions) {
  if (std::exchange(isOver_, true)) return;
  std::ranges::move(flushMessages(), std::back_inserter(actions));
  if (ended.failed) {
    actions.emplace_back(turn::Fail{ended.error ? *ended.error : error_.value_or("unknown")});
  } else {
    actions.emplace_back(turn::Finish{});
  }
}

}  // namespace ravant
