#include "runners/codex/codex_turn.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <utility>

#include "core/overloaded.hpp"
#include "core/store/transcript_writer.hpp"
#include "platform/text/text.hpp"

namespace ravant {
namespace {

// Up to here each piece of an output is worth telling the whole again.
constexpr std::size_t kShortOutput = 16UL * 1024;
constexpr std::size_t kWorthTelling = 16;  // a longer one is told anew when it has grown by this part
constexpr std::size_t kLongestOutput = 1024UL * 1024;
constexpr std::string_view kLeftOut = "[the beginning of the output is left out]\n";

bool isBlank(std::string_view text) { return trimmed(text).empty(); }

/// An output that is too long loses its first half, up to a line break where there is one.
void shorten(std::string& output) {
  if (output.size() <= kLongestOutput) return;
  std::size_t from = output.size() - kLongestOutput / 2;
  const std::size_t lineBreak = output.find('\n', from);
  if (lineBreak != std::string::npos && lineBreak + 1 < output.size()) from = lineBreak + 1;
  while (from < output.size() && (static_cast<unsigned char>(output[from]) & 0xC0U) == 0x80U) ++from;
  output.replace(0, from, kLeftOut);
}

std::string withExitCode(const std::string& output, std::optional<std::int64_t> exitCode) {
  if (exitCode.value_or(0) == 0) return output;
  return fmt::format("{}{}exit code {}", output, output.empty() || output.ends_with('\n') ? "" : "\n", *exitCode);
}

std::string wordsOf(const codex::Failure& failure) {
  const std::string details = failure.details.value_or(std::string());
  return details.empty() ? failure.message : fmt::format("{}: {}", failure.message, details);
}

}  // namespace

std::vector<turn::Action> CodexTurn::onStarted(std::string turnId) {
  Actions actions;
  turnId_ = std::move(turnId);
  for (const codex::TurnEnded& ended : std::exchange(endedBeforeStart_, {})) {
    if (isOurs(ended.turnId)) end(ended, actions);
  }
  return actions;
}

std::vector<turn::Action> CodexTurn::ingest(std::string_view method, const json::object& params,
                                            std::string_view line) {
  Actions actions;
  const auto event = codex::parseNotification(method, params);
  if (!event) return actions;
  const bool isOurs = this->isOurs(codex::extractTurnId(params));
  const bool isNews = isOurs && !isClosed_;
  std::visit(Overloaded{[&](const codex::ItemEvent& item) { ingestCodexItem(item, isOurs, line, actions); },
                        [&](const codex::MessageDelta& delta) {
                          if (isNews) ingestDelta(delta, line, actions);
                        },
                        [&](const codex::ReasoningDelta& delta) {
                          if (isNews) ingestReasoning(delta, actions);
                        },
                        [&](const codex::OutputDelta& delta) {
                          if (isNews) ingestOutput(delta);
                        },
                        [&](const codex::UsageEvent& report) { ingestUsage(report, actions); },
                        [&](const codex::ErrorEvent& error) {
                          if (isNews) ingestError(error, actions);
                        },
                        [&](const codex::TurnEnded& ended) {
                          if (!turnId_) {
                            endedBeforeStart_.push_back(ended);
                          } else if (isOurs) {
                            end(ended, actions);
                          }
                        }},
             *event);
  return actions;
}

void CodexTurn::ingestCodexItem(const codex::ItemEvent& event, bool isOurs, std::string_view line, Actions& actions) {
  const bool isComplete = event.stage == codex::ItemStage::completed;
  std::visit(Overloaded{[&](const codex::ToolItem& tool) { ingestTool(tool, event.stage, isOurs, line, actions); },
                        [&](const codex::MessageItem& message) {
                          if (isComplete) ingestMessage(message, line, actions);
                          if (event.stage != codex::ItemStage::started || !message.id) return;
                          completedTexts_.erase(*message.id);
                          toldParts_.erase(*message.id);
                        },
                        [&](const codex::CompactionItem&) {
                          if (!isComplete) return;
                          tellGrowing(growingMessages_.size(), actions);
                          actions.emplace_back(
                              turn::AppendCompactionEvent{.rawJSON = std::string(line), .text = "Context compacted"});
                        }},
             event.item);
}

void CodexTurn::ingestMessage(const codex::MessageItem& message, std::string_view line, Actions& actions) {
  const auto growing = std::ranges::find(growingMessages_, message.id, &GrowingMessage::id);
  const auto begunBefore = static_cast<std::size_t>(std::distance(growingMessages_.begin(), growing));
  std::string text = withoutToldPart(message);
  if (growing != growingMessages_.end()) {
    if (isBlank(message.text)) text = std::move(growing->text);
    growingMessages_.erase(growing);
  }
  if (isBlank(text)) return;
  if (message.id) {
    const auto [told, isNew] = completedTexts_.try_emplace(*message.id);
    if (!isNew && told->second == text) return;
    told->second = text;
  }
  tellGrowing(begunBefore, actions);
  lastAgentMessageId_ = message.id;
  actions.emplace_back(turn::AppendAgentMessage{
      .rawJSON = std::string(line), .text = std::move(text), .agentModel = model_, .providerMessageId = message.id});
}

/// What is left of a message whose beginning stands in the transcript.
std::string CodexTurn::withoutToldPart(const codex::MessageItem& message) const {
  const auto told = message.id ? toldParts_.find(*message.id) : toldParts_.end();
  const bool hasPart = told != toldParts_.end() && message.text.starts_with(told->second);
  return hasPart ? message.text.substr(told->second.size()) : message.text;
}

void CodexTurn::ingestDelta(const codex::MessageDelta& delta, std::string_view line, Actions& actions) {
  if (delta.itemId && completedTexts_.contains(*delta.itemId)) return;
  auto growing = std::ranges::find(growingMessages_, delta.itemId, &GrowingMessage::id);
  const bool isNew = growing == growingMessages_.end();
  if (isNew) {
    growing =
        growingMessages_.insert(growing, GrowingMessage{.id = delta.itemId, .text = {}, .line = std::string(line)});
  }
  growing->text += delta.text;
  actions.emplace_back(turn::Grow{.text = delta.text, .isNewMessage = isNew});
}

void CodexTurn::ingestReasoning(const codex::ReasoningDelta& delta, Actions& actions) {
  const bool isNew = std::exchange(reasoningPart_, delta.part) != delta.part;
  actions.emplace_back(turn::Grow{.text = delta.text, .isNewMessage = isNew, .kind = GrowthKind::reasoning});
}

/// The first `count` growing messages, as far as they came: what comes next stands behind them.
void CodexTurn::tellGrowing(std::size_t count, Actions& actions) {
  const auto end = growingMessages_.begin() + static_cast<std::ptrdiff_t>(count);
  for (auto message = growingMessages_.begin(); message != end; ++message) {
    if (isBlank(message->text)) continue;
    if (message->id) toldParts_[*message->id] += message->text;
    actions.emplace_back(turn::AppendAgentMessage{.rawJSON = std::move(message->line),
                                                  .text = std::move(message->text),
                                                  .agentModel = model_,
                                                  .providerMessageId = message->id});
  }
  growingMessages_.erase(growingMessages_.begin(), end);
}

void CodexTurn::ingestTool(const codex::ToolItem& tool, codex::ItemStage stage, bool isOurs, std::string_view line,
                           Actions& actions) {
  const auto call = calls_.find(tool.callId);
  const bool isKnown = call != calls_.end();
  const bool isAnnouncement = stage == codex::ItemStage::started;
  // The id of a call that has ended names another one when it is announced again.
  const bool isReused = isAnnouncement && isKnown && call->second.state == CallState::ended;
  // A call of an earlier turn is in the transcript since then.
  if (isReused || (!isKnown && (isOurs || isAnnouncement))) return addCall(tool, stage, isOurs, line, actions);

  if (tool.status != ToolInvocationStatus::running) return onCallResult(tool, actions);
  if (!isKnown) return;
  if (!isAnnouncement) return onCallProgress(call, tool, actions);
  if (call->second.state == CallState::endedUnannounced) call->second.state = CallState::ended;
}

void CodexTurn::addCall(const codex::ToolItem& tool, codex::ItemStage stage, bool isOurs, std::string_view line,
                        Actions& actions) {
  tellGrowing(growingMessages_.size(), actions);
  const bool isRunning = tool.status == ToolInvocationStatus::running;
  const bool hasTurn = isOurs && !isClosed_;
  turn::AppendToolInvocation added{.rawJSON = std::string(line),
                                   .text = tool.name,
                                   .toolName = tool.name,
                                   .toolCallId = tool.callId,
                                   .input = tool.input,
                                   .status = tool.status};
  Call call{.state = CallState::running,
            .input = tool.input.value_or(""),
            .output = tool.output.value_or(""),
            .exitCode = tool.exitCode};
  if (!isRunning) {
    added.output = withExitCode(call.output, call.exitCode);
  } else if (!hasTurn) {
    added.output = kUnfinishedTool;
    added.status = ToolInvocationStatus::failed;
  }
  if (!isRunning || !hasTurn) {
    call.state = stage == codex::ItemStage::started ? CallState::ended : CallState::endedUnannounced;
  }
  calls_.insert_or_assign(tool.callId, std::move(call));
  actions.emplace_back(std::move(added));
}

void CodexTurn::onCallProgress(Calls::iterator call, const codex::ToolItem& tool, Actions& actions) {
  if (call->second.state != CallState::running || isClosed_) return;
  if (tool.input && std::exchange(call->second.input, *tool.input) != *tool.input) {
    actions.emplace_back(turn::UpdateToolInvocation{.toolCallId = tool.callId, .input = tool.input});
  }
  if (tool.output && std::exchange(call->second.output, *tool.output) != *tool.output) {
    call->second.untoldBytes = tool.output->size();
    outspoken_.insert(tool.callId);
  }
}

void CodexTurn::onCallResult(const codex::ToolItem& tool, Actions& actions) {
  const auto [known, isOfEarlierTurn] = calls_.try_emplace(tool.callId, Call{.state = CallState::ended});
  Call& call = known->second;
  if (isOfEarlierTurn) call.output = shownOutputOf(tool.callId);
  const bool isInputNew = tool.input && std::exchange(call.input, *tool.input) != *tool.input;
  if (isInputNew && !isOfEarlierTurn) {
    actions.emplace_back(turn::UpdateToolInvocation{.toolCallId = tool.callId, .input = tool.input});
  }
  // A report without output takes back nothing that was shown.
  if (tool.output && !tool.output->empty()) call.output = *tool.output;
  if (tool.exitCode) call.exitCode = tool.exitCode;
  if (call.state == CallState::running) call.state = CallState::ended;
  outspoken_.erase(tool.callId);
  actions.emplace_back(turn::CompleteToolInvocation{
      .toolCallId = tool.callId,
      .output = withExitCode(call.output, call.exitCode),
      .outcome = tool.status == ToolInvocationStatus::failed ? ToolOutcome::failed : ToolOutcome::completed});
}

/// What an earlier turn has shown of a call that had not ended.
std::string CodexTurn::shownOutputOf(const std::string& callId) {
  auto shown = shownOutputs_.extract(callId);
  return shown ? std::move(shown.mapped()) : std::string();
}

std::map<std::string, std::string> CodexTurn::shownOutputs() const {
  std::map<std::string, std::string> shown;
  std::size_t bytes = 0;
  for (const auto& [callId, call] : calls_) {
    if (call.state != CallState::running || call.output.empty()) continue;
    bytes += call.output.size();
    shown.emplace(callId, call.output);
  }
  for (const auto& [callId, output] : shownOutputs_) {
    bytes += output.size();
    // Calls that never end would add up.
    if (bytes <= kLongestOutput) shown.emplace(callId, output);
  }
  return shown;
}

void CodexTurn::ingestOutput(const codex::OutputDelta& delta) {
  const auto call = calls_.find(delta.callId);
  if (call == calls_.end() || call->second.state != CallState::running || delta.text.empty()) return;
  call->second.output += delta.text;
  call->second.untoldBytes += delta.text.size();
  shorten(call->second.output);
  outspoken_.insert(delta.callId);
}

std::vector<turn::Action> CodexTurn::takeOutputs(Outputs outputs) {
  Actions actions;
  std::erase_if(outspoken_, [&](const std::string& callId) {
    const auto call = calls_.find(callId);
    const std::size_t size = call->second.output.size();
    const bool isWorthTelling =
        outputs == Outputs::all || size <= kShortOutput || call->second.untoldBytes >= size / kWorthTelling;
    if (isWorthTelling) tellOutput(call, actions);
    return isWorthTelling;
  });
  return actions;
}

void CodexTurn::tellOutput(Calls::iterator call, Actions& actions) {
  call->second.untoldBytes = 0;
  actions.emplace_back(turn::UpdateToolInvocation{.toolCallId = call->first, .output = call->second.output});
}

std::vector<turn::Action> CodexTurn::close() {
  Actions actions;
  tellGrowing(growingMessages_.size(), actions);
  for (const std::string& callId : std::exchange(outspoken_, {})) tellOutput(calls_.find(callId), actions);
  isClosed_ = true;
  return actions;
}

void CodexTurn::ingestUsage(const codex::UsageEvent& report, Actions& actions) {
  actions.emplace_back(turn::ApplyUsage{.providerMessageId = std::exchange(lastAgentMessageId_, std::nullopt),
                                        .snapshot = report.usage});
  const auto window = report.usage.maxTokens;
  if (!window || *window <= 0 || window == contextWindow_) return;
  contextWindow_ = window;
  actions.emplace_back(turn::ApplyContextWindow{*window});
}

void CodexTurn::ingestError(const codex::ErrorEvent& error, Actions& actions) {
  const codex::Failure& failure = error.failure;
  if (!error.willRetry) {
    failure_ = failure;
    return;
  }
  actions.emplace_back(turn::Retry{.reason = wordsOf(failure)});
}

void CodexTurn::end(const codex::TurnEnded& ended, Actions& actions) {
  if (std::exchange(isOver_, true)) return;
  tellGrowing(growingMessages_.size(), actions);
  if (!ended.failed) {
    actions.emplace_back(turn::Finish{});
    return;
  }
  codex::Failure failure = ended.failure ? *ended.failure : failure_.value_or(codex::Failure());
  if (!failure.details && failure_ && failure_->message == failure.message) failure.details = failure_->details;
  actions.emplace_back(turn::Fail{.text = wordsOf(failure), .cause = failure.cause});
}

}  // namespace ravant
