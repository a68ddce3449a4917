#include "core/store/transcript_editor.hpp"

#include "core/message_segmenter.hpp"
#include "core/overloaded.hpp"
#include "platform/log/log.hpp"

namespace ravant {
namespace {

constexpr Log kLog("com.ravant.core", "Persistence");

}  // namespace

TranscriptEditor::TranscriptEditor(StoreConnection& store, ConversationTable& conversations, ItemTable& items)
    : store_(store), conversations_(conversations), items_(items) {}

TranscriptEditor::Effect TranscriptEditor::apply(const TranscriptAction& action, const Target& target) {
  return std::visit([&](const auto& known) { return perform(known, target); }, action);
}

TranscriptEditor::Effect TranscriptEditor::perform(const turn::AppendAgentMessage& message, const Target& target) {
  const ConversationItemId added = append({.conversation = target.row,
                                           .kind = ConversationItemKind::agentMessage,
                                           .rawJSON = message.rawJSON,
                                           .text = message.text,
                                           .agentModel = message.agentModel,
                                           .providerMessageId = message.providerMessageId},
                                          target);
  for (const MessageBlock& block : MessageSegmenter::segments(message.text)) items_.insertBlock(added, block);
  return Effect::activity;
}

TranscriptEditor::Effect TranscriptEditor::perform(const turn::AppendCompactionEvent& compaction,
                                                   const Target& target) {
  append({.conversation = target.row,
          .kind = ConversationItemKind::compactionEvent,
          .rawJSON = compaction.rawJSON,
          .text = compaction.text},
         target);
  return Effect::activity;
}

TranscriptEditor::Effect TranscriptEditor::perform(const turn::AppendToolInvocation& call, const Target& target) {
  const Timestamp now = store_.now();
  const ToolInvocationId added = items_.insert(ItemTable::NewInvocation{.conversation = target.row,
                                                                        .group = openToolGroup(target),
                                                                        .rawJSON = call.rawJSON,
                                                                        .text = call.text,
                                                                        .toolName = call.toolName,
                                                                        .toolCallId = call.toolCallId,
                                                                        .input = call.input,
                                                                        .output = call.output,
                                                                        .status = call.status},
                                               now);
  target.changes.inserted(added, target.id);
  return Effect::activity;
}

TranscriptEditor::Effect TranscriptEditor::perform(const turn::UpdateToolInvocation& update, const Target& target) {
  const auto invocation = knownInvocation("updateToolInvocation", update.toolCallId, target);
  if (!invocation) return Effect::none;
  items_.update(*invocation, update);
  target.changes.updated(*invocation, target.id);
  return Effect::activity;
}

TranscriptEditor::Effect TranscriptEditor::perform(const turn::CompleteToolInvocation& result, const Target& target) {
  const auto invocation = knownInvocation("completeToolInvocation", result.toolCallId, target);
  if (!invocation) return Effect::none;
  if (result.outcome == ToolOutcome::failed) {
    items_.fail(*invocation, result.output, store_.now());
  } else {
    items_.complete(*invocation, result.output, store_.now());
  }
  target.changes.updated(*invocation, target.id);
  return Effect::activity;
}

TranscriptEditor::Effect TranscriptEditor::perform(const turn::ApplyUsage& usage, const Target& target) {
  conversations_.updateTokenUsage(target.row, usage.snapshot, store_.now());
  if (usage.providerMessageId && !usage.providerMessageId->empty()) {
    if (const auto message = items_.latestMessage(target.row, *usage.providerMessageId)) {
      items_.applyTokenUsage(*message, usage.snapshot);
      target.changes.updated(*message, target.id);
    }
  }
  return Effect::change;
}

TranscriptEditor::Effect TranscriptEditor::perform(const turn::ApplyContextWindow& window, const Target& target) {
  conversations_.updateContextWindow(target.row, window.maxTokens, store_.now());
  return Effect::change;
}

TranscriptEditor::Effect TranscriptEditor::perform(const turn::ApplyContextUse& use, const Target& target) {
  conversations_.updateContextUse(target.row, use.usedTokens, store_.now());
  return Effect::change;
}

TranscriptEditor::Effect TranscriptEditor::perform(const turn::SetSession& session, const Target& target) {
  conversations_.updateResumedSessionId(target.row, session.sessionId);
  return Effect::change;
}

std::optional<ToolInvocationId> TranscriptEditor::knownInvocation(std::string_view operation,
                                                                  std::string_view toolCallId, const Target& target) {
  const auto found = items_.newestInvocation(target.row, toolCallId);
  if (!found) {
    kLog.warning("{} found no invocation {} in conversation {}", operation, toolCallId, target.id.text());
  }
  return found;
}

ConversationItemId TranscriptEditor::append(const ItemTable::NewItem& item, const Target& target) {
  const ConversationItemId added = items_.insert(item, store_.now());
  target.changes.inserted(added, target.id);
  return added;
}

ConversationItemId TranscriptEditor::openToolGroup(const Target& target) {
  const auto open = openToolGroupByConversation_.find(target.id);
  if (open != openToolGroupByConversation_.end() && items_.isLastGroup(open->second, target.row)) return open->second;
  const ConversationItemId group =
      append({.conversation = target.row, .kind = ConversationItemKind::toolInvocationGroup, .rawJSON = {}, .text = {}},
             target);
  openToolGroupByConversation_.insert_or_assign(target.id, group);
  return group;
}

std::string_view TranscriptEditor::wordsForUnknown(const TranscriptAction& action) {
  return std::visit(
      Overloaded{[](const turn::AppendAgentMessage&) { return "appendAgentMessage called with unknown id"; },
                 [](const turn::AppendToolInvocation&) { return "appendToolInvocation called with unknown id"; },
                 [](const turn::UpdateToolInvocation&) { return "updateToolInvocation called with unknown id"; },
                 [](const turn::CompleteToolInvocation&) { return "completeToolInvocation called with unknown id"; },
                 [](const turn::AppendCompactionEvent&) { return "appendCompactionEvent called with unknown id"; },
                 [](const turn::ApplyUsage&) { return "applyAssistantTurnUsage unknown conversation"; },
                 [](const turn::ApplyContextWindow&) { return "applyContextWindow unknown conversation"; },
                 [](const turn::ApplyContextUse&) { return "applyContextUse unknown conversation"; },
                 [](const turn::SetSession&) { return "updateResumedSessionId called with unknown id"; }},
      action);
}

}  // namespace ravant
