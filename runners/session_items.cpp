#include "runners/session_items.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <ranges>
#include <utility>
#include <variant>

#include "core/message_segmenter.hpp"
#include "core/overloaded.hpp"

namespace ravant {

void SessionItems::setTime(Timestamp at) { now_ = std::max(now_, at); }

void SessionItems::addPrompt(std::string_view rawJSON, std::string text) {
  add(rawJSON, std::move(text), UserMessage{});
}

void SessionItems::addFailure(std::string_view rawJSON, std::string_view error) {
  add(rawJSON, fmt::format("The agent run failed: {}", error), FailureEvent{});
}

void SessionItems::apply(std::vector<turn::Action> actions, std::string_view line, std::optional<Timestamp> begunAt) {
  for (turn::Action& action : actions) {
    if (const auto* failure = std::get_if<turn::Fail>(&action)) addFailure(line, failure->text);
    auto* entry = std::get_if<TranscriptAction>(&action);
    if (!entry) continue;
    std::visit(
        Overloaded{[&](turn::AppendAgentMessage& message) { append(std::move(message)); },
                   [&](turn::AppendToolInvocation& call) { append(std::move(call), begunAt); },
                   [&](turn::UpdateToolInvocation& change) { update(change); },
                   [&](turn::CompleteToolInvocation& result) { complete(std::move(result)); },
                   [&](turn::AppendCompactionEvent& compaction) {
                     add(compaction.rawJSON, std::move(compaction.text), CompactionEvent{});
                   },
                   [&](turn::ApplyUsage& usage) { apply(usage); },
                   [&](turn::ApplyContextWindow& window) { contextWindow_ = window.maxTokens; }, [](const auto&) {}},
        *entry);
  }
}

void SessionItems::endCalls(std::string_view notice) {
  for (ConversationItem& item : items_) {
    auto* group = std::get_if<ToolInvocationGroup>(&item.detail);
    if (!group) continue;
    for (ToolInvocation& call : group->invocations) {
      if (call.status != ToolInvocationStatus::running) continue;
      call.status = ToolInvocationStatus::failed;
      call.output = notice;
      call.completedAt = now_;
    }
  }
}

void SessionItems::add(std::string_view rawJSON, std::string text, ConversationItem::Detail detail) {
  items_.push_back({.id = {},
                    .conversation = {},
                    .rawJSON = std::string(rawJSON),
                    .createdAt = now_,
                    .text = std::move(text),
                    .detail = std::move(detail)});
}

void SessionItems::append(turn::AppendAgentMessage message) {
  if (message.agentModel) model_ = message.agentModel;
  AgentMessage detail;
  detail.agentModel = std::move(message.agentModel);
  detail.providerMessageId = std::move(message.providerMessageId);
  detail.blocks = MessageSegmenter::segments(message.text);
  if (detail.providerMessageId) messages_.insert_or_assign(*detail.providerMessageId, items_.size());
  add(message.rawJSON, std::move(message.text), std::move(detail));
}

void SessionItems::append(turn::AppendToolInvocation call, std::optional<Timestamp> begunAt) {
  const Timestamp earliest = items_.empty() ? Timestamp::min() : items_.back().createdAt;
  const Timestamp createdAt = std::max(std::min(begunAt.value_or(now_), now_), earliest);
  const bool isGroupOpen = !items_.empty() && std::holds_alternative<ToolInvocationGroup>(items_.back().detail);
  if (!isGroupOpen) {
    add({}, {}, ToolInvocationGroup{});
    items_.back().createdAt = createdAt;
  }
  const bool isRunning = call.status == ToolInvocationStatus::running;
  auto& invocations = std::get<ToolInvocationGroup>(items_.back().detail).invocations;
  calls_[call.toolCallId].push_back({.item = items_.size() - 1, .call = invocations.size()});
  invocations.push_back({.id = {},
                         .rawJSON = std::move(call.rawJSON),
                         .text = std::move(call.text),
                         .createdAt = createdAt,
                         .toolName = std::move(call.toolName),
                         .toolCallId = std::move(call.toolCallId),
                         .input = std::move(call.input),
                         .output = std::move(call.output),
                         .status = call.status,
                         .completedAt = isRunning ? std::optional<Timestamp>() : now_,
                         .parentGroup = {}});
}

void SessionItems::update(const turn::UpdateToolInvocation& update) {
  ToolInvocation* call = newestCall(update.toolCallId);
  if (!call) return;
  if (update.toolName) call->toolName = *update.toolName;
  if (update.input) call->input = update.input;
  if (update.output) call->output = update.output;
}

void SessionItems::complete(turn::CompleteToolInvocation result) {
  ToolInvocation* call = newestCall(result.toolCallId);
  if (!call) {
    strayResults_.push_back({.result = std::move(result), .at = now_});
    return;
  }
  call->output = std::move(result.output);
  call->status = result.outcome == ToolOutcome::failed ? ToolInvocationStatus::failed : ToolInvocationStatus::completed;
  call->completedAt = now_;
}

void SessionItems::apply(const turn::ApplyUsage& usage) {
  usage_ = usage.snapshot;
  usageAt_ = now_;
  if (!usage.providerMessageId) return;
  const auto found = messages_.find(*usage.providerMessageId);
  if (found == messages_.end()) return;
  auto& message = std::get<AgentMessage>(items_[found->second].detail);
  message.inputTokens = usage.snapshot.inputTokens;
  message.outputTokens = usage.snapshot.outputTokens;
  message.cacheReadTokens = usage.snapshot.cacheReadTokens;
  message.cacheCreationTokens = usage.snapshot.cacheCreationTokens;
  message.usedTokens = usage.snapshot.usedTokens;
  message.totalProcessedTokens = usage.snapshot.totalProcessedTokens;
}

/// One that is still running before those that have ended.
ToolInvocation* SessionItems::newestCall(const std::string& callId) {
  const auto found = calls_.find(callId);
  if (found == calls_.end()) return nullptr;
  ToolInvocation* ended = nullptr;
  for (const CallPlace& place : found->second | std::views::reverse) {
    ToolInvocation& call = std::get<ToolInvocationGroup>(items_[place.item].detail).invocations[place.call];
    if (call.status == ToolInvocationStatus::running) return &call;
    if (!ended) ended = &call;
  }
  return ended;
}

}  // namespace ravant
