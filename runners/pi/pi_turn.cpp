#include "runners/pi/pi_turn.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "core/overloaded.hpp"
#include "platform/text/text.hpp"

namespace ravant {
namespace {

std::optional<turn::Fail> failureOf(const pi::AssistantMessage& message) {
  using Break = pi::AssistantMessage::Break;
  if (message.brokenBy == Break::none) return std::nullopt;
  return turn::Fail{.text = message.failure,
                    .cause = message.brokenBy == Break::limit ? FailureCause::limit : FailureCause::error};
}

/// Whether something of the message stands in the transcript as its text.
bool hasText(const pi::AssistantMessage& message) {
  return std::ranges::any_of(message.blocks, [](const auto& block) {
    const auto* text = std::get_if<pi::TextBlock>(&block);
    return text && !trimmed(text->text).empty();
  });
}

}  // namespace

std::vector<turn::Action> PiTurn::onLine(std::string_view line) {
  const json::object* object = asObject(parser_.parse(line));
  return object ? onObject(*object, line) : Actions();
}

std::vector<turn::Action> PiTurn::onObject(const json::object& object, std::string_view line) {
  Actions actions;
  const auto event = pi::parseLine(object);
  if (!event) return actions;
  std::visit(Overloaded{[&](const pi::SessionLine& session) {
                          if (session.id.empty() || session.id == sessionId_) return;
                          sessionId_ = session.id;
                          actions.emplace_back(turn::SetSession{sessionId_});
                        },
                        [&](const pi::MessageStart& start) { growingModel_ = start.model; },
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
                          actions.emplace_back(turn::Retry{.reason = retry.reason, .after = retry.after});
                        },
                        [&](const pi::RetryEnd& retry) {
                          if (!retry.success && retry.finalError) failure_ = turn::Fail{*retry.finalError};
                        },
                        [&](const pi::AgentStart&) { hasAgentEnded_ = false; },
                        [&](const pi::AgentEnd& end) { hasAgentEnded_ = !end.willRetry; },
                        [&](const pi::AgentSettled&) { finish(actions); }},
             *event);
  return actions;
}

std::vector<turn::Action> PiTurn::onCommandEnd() {
  Actions actions;
  flushGrowingTexts(actions);
  flushUsage(actions);
  if (hasAgentEnded_ || failure_) finish(actions);
  return actions;
}

bool PiTurn::isSessionUnknown(std::string_view standardError) const {
  return standardError.contains("No session found matching");
}

void PiTurn::ingestPiTextDelta(const pi::TextDelta& delta, std::string_view line, Actions& actions) {
  if (delta.kind == pi::TextDelta::Kind::thinking) {
    const bool isFirst = growingThoughts_.insert(delta.contentIndex).second;
    actions.emplace_back(turn::Grow{.text = delta.text, .isNewMessage = isFirst, .kind = GrowthKind::reasoning});
    return;
  }
  const auto [growing, isNew] = growingTexts_.try_emplace(delta.contentIndex);
  if (isNew) growing->second.line = line;
  growing->second.text += delta.text;
  actions.emplace_back(turn::Grow{.text = delta.text, .isNewMessage = isNew});
}

void PiTurn::flushGrowingTexts(Actions& actions) {
  for (auto& [place, growing] : std::exchange(growingTexts_, {})) append(std::move(growing), actions);
}

void PiTurn::append(GrowingText growing, Actions& actions) {
  if (trimmed(growing.text).empty()) return;
  actions.emplace_back(turn::AppendAgentMessage{
      .rawJSON = std::move(growing.line), .text = std::move(growing.text), .agentModel = growingModel_});
}

void PiTurn::flushUsage(Actions& actions) {
  if (usage_) actions.emplace_back(*std::exchange(usage_, std::nullopt));
}

void PiTurn::ingestPiMessageEnd(const pi::AssistantMessage& message, std::string_view line, Actions& actions) {
  if (message.model) growingModel_ = message.model;
  // A text that broke off can end blank: what it had come to is what there is of it.
  if (!hasText(message)) flushGrowingTexts(actions);
  auto growingTexts = std::exchange(growingTexts_, {});
  growingThoughts_.clear();
  for (const auto& block : message.blocks) {
    if (const auto* call = std::get_if<pi::ToolCallBlock>(&block)) {
      toolResults_.erase(call->id);
      actions.emplace_back(
          turn::AppendToolInvocation{.rawJSON = std::string(line),
                                     .text = call->name,
                                     .toolName = call->name,
                                     .toolCallId = call->id.empty() ? namelessCalls_.begin() : call->id,
                                     .input = call->arguments});
      continue;
    }
    const auto& [place, text] = std::get<pi::TextBlock>(block);
    if (trimmed(text).empty()) {
      append(std::exchange(growingTexts[place], {}), actions);
      continue;
    }
    actions.emplace_back(turn::AppendAgentMessage{.rawJSON = std::string(line),
                                                  .text = text,
                                                  .agentModel = message.model,
                                                  .providerMessageId = message.responseId});
  }
  failure_ = failureOf(message);
  if (message.usage) usage_ = turn::ApplyUsage{.providerMessageId = message.responseId, .snapshot = *message.usage};
}

void PiTurn::ingestPiToolEnd(const pi::ToolResult& result, Actions& actions) {
  const auto call = result.toolCallId.empty() ? namelessCalls_.end() : result.toolCallId;
  if (!call || !toolResults_.insert(*call).second) return;
  actions.emplace_back(
      turn::CompleteToolInvocation{.toolCallId = *call,
                                   .output = result.text,
                                   .outcome = result.isError ? ToolOutcome::failed : ToolOutcome::completed});
}

void PiTurn::finish(Actions& actions) {
  if (std::exchange(isOver_, true)) return;
  flushUsage(actions);
  if (failure_) {
    actions.emplace_back(*failure_);
  } else {
    actions.emplace_back(turn::Finish{});
  }
}

}  // namespace ravant
