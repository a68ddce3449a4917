#include "core/store/conversation_item_model_actor.hpp"

#include <algorithm>
#include <map>

#include "core/message_segmenter.hpp"
#include "core/store/item_table.hpp"
#include "core/store/row_values.hpp"
#include "core/store/run_table.hpp"
#include "core/store/user_prompt_format.hpp"
#include "platform/log/log.hpp"

namespace ravant {
namespace {

constexpr Log kLog("com.ravant.core", "Persistence");

}  // namespace

/// The operations themselves, run one after another on the actor's strand.
class ConversationItemOperations {
 public:
  explicit ConversationItemOperations(std::shared_ptr<ModelContainer> modelContainer)
      : store_(std::move(modelContainer)),
        conversations_(store_),
        items_(store_),
        runs_(store_, items_),
        transcript_(
            store_.prepare("SELECT item.kind, item.text, call.tool_call_id, call.tool_name, call.input, call.output, "
                           "call.status_raw_value, item.raw_json, call.raw_json FROM conversation_item AS item "
                           "LEFT JOIN tool_invocation AS call ON call.group_id = item.id "
                           "WHERE item.conversation_id = ? ORDER BY item.created_at, item.id, call.id")) {}

  void appendUserPrompt(ConversationId id, const std::string& prompt, AgentType agent) {
    store_.write(Durability::powerCut, [&](Changes& changes) {
      const Timestamp now = store_.now();
      const auto conversation = conversations_.find(id);
      if (!conversation) return logUnknown("appendUserPrompt called with unknown id", id);
      const std::string rawJSON = formatUserPrompt(prompt, agent, now);
      const ConversationItemId added = append({.conversation = *conversation,
                                               .kind = ConversationItemKind::userMessage,
                                               .rawJSON = rawJSON,
                                               .text = prompt},
                                              {id, *conversation, changes});
      runs_.setPrompt(*conversation, added);
      conversations_.touchLastPrompt(*conversation, now);
      changes.updated(id);
    });
  }

  void appendFailureEvent(ConversationId id, std::string_view rawJSON, std::string_view text) {
    store_.write(Durability::powerCut, [&](Changes& changes) {
      const auto conversation = conversations_.find(id);
      if (!conversation) return logUnknown("appendFailureEvent called with unknown id", id);
      append(
          {.conversation = *conversation, .kind = ConversationItemKind::failureEvent, .rawJSON = rawJSON, .text = text},
          {id, *conversation, changes});
      conversations_.touchLastActivity(*conversation, store_.now());
      changes.updated(id);
    });
  }

  /// False, with nothing done but the log line, for an unknown conversation.
  bool apply(std::string_view unknownConversation, ConversationId id, const std::vector<TranscriptAction>& actions) {
    return store_.write(Durability::processDeath, [&](Changes& changes) {
      const auto conversation = conversations_.find(id);
      if (!conversation) {
        logUnknown(unknownConversation, id);
        return false;
      }
      const Target target{id, *conversation, changes};
      Effect effect = Effect::none;
      for (const TranscriptAction& action : actions) {
        effect = std::max(effect, std::visit([&](const auto& it) { return apply(it, target); }, action));
      }
      if (effect == Effect::activity) conversations_.touchLastActivity(*conversation, store_.now());
      if (effect != Effect::none) changes.updated(id);
      return true;
    });
  }

  std::vector<TranscriptEntry> loadTranscriptEntries(ConversationId id) {
    return store_.read([&] {
      std::vector<TranscriptEntry> entries;
      const auto conversation = conversations_.find(id);
      if (!conversation) {
        logUnknown("loadTranscriptEntries called with unknown id", id);
        return entries;
      }
      auto row = transcript_.query(bound(*conversation));
      while (row.step()) {
        if (auto entry = readEntry(row)) entries.push_back(std::move(*entry));
      }
      return entries;
    });
  }

  bool beginRun(ConversationId id) {
    endProcessesOfDeadRun(id);
    return store_.write(Durability::processDeath, [&](Changes& changes) {
      const auto conversation = conversations_.find(id);
      if (!conversation) {
        logUnknown("beginRun called with unknown id", id);
        return false;
      }
      runs_.begin(id, *conversation, changes);
      return true;
    });
  }

  bool endRun(ConversationId id, const RunTable::End& end) {
    openToolGroupByConversation_.erase(id);
    return store_.write(Durability::powerCut, [&](Changes& changes) {
      const auto conversation = conversations_.find(id);
      if (!conversation) {
        logUnknown("endRun called with unknown id", id);
        return false;
      }
      runs_.end(id, *conversation, end, changes);
      conversations_.touchLastActivity(*conversation, store_.now());
      changes.updated(id);
      return true;
    });
  }

  std::optional<RunningInvocation> newestRunningInvocation(ConversationId id) {
    return store_.read([&] {
      const auto conversation = conversations_.find(id);
      return conversation ? items_.newestRunningInvocation(*conversation) : std::nullopt;
    });
  }

 private:
  /// The conversation that an operation writes to, and what the operation changed.
  struct Target {
    ConversationId id;
    ConversationRow row;
    Changes& changes;
  };

  /// What an action did to its conversation, the least first.
  enum class Effect { none, change, activity };

  Effect apply(const turn::AppendAgentMessage& message, const Target& target) {
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

  Effect apply(const turn::AppendCompactionEvent& compaction, const Target& target) {
    append({.conversation = target.row,
            .kind = ConversationItemKind::compactionEvent,
            .rawJSON = compaction.rawJSON,
            .text = compaction.text},
           target);
    return Effect::activity;
  }

  Effect apply(const turn::AppendToolInvocation& call, const Target& target) {
    const Timestamp now = store_.now();
    const ToolInvocationId added = items_.insert(ItemTable::NewInvocation{.conversation = target.row,
                                                                          .group = openToolGroup(target, now),
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

  Effect apply(const turn::UpdateToolInvocation& update, const Target& target) {
    const auto invocation = knownInvocation(update.toolCallId, target);
    if (!invocation) return Effect::none;
    items_.update(*invocation, update);
    target.changes.updated(*invocation, target.id);
    return Effect::activity;
  }

  Effect apply(const turn::CompleteToolInvocation& result, const Target& target) {
    const auto invocation = knownInvocation(result.toolCallId, target);
    if (!invocation) return Effect::none;
    if (result.outcome == ToolOutcome::failed) {
      items_.fail(*invocation, result.output, store_.now());
    } else {
      items_.complete(*invocation, result.output, store_.now());
    }
    target.changes.updated(*invocation, target.id);
    return Effect::activity;
  }

  Effect apply(const turn::ApplyUsage& usage, const Target& target) {
    conversations_.updateTokenUsage(target.row, usage.snapshot, store_.now());
    if (usage.providerMessageId && !usage.providerMessageId->empty()) {
      if (const auto message = items_.latestMessage(target.row, *usage.providerMessageId)) {
        items_.applyTokenUsage(*message, usage.snapshot);
        target.changes.updated(*message, target.id);
      }
    }
    return Effect::change;
  }

  Effect apply(const turn::ApplyContextWindow& window, const Target& target) {
    conversations_.updateContextWindow(target.row, window.maxTokens, store_.now());
    return Effect::change;
  }

  Effect apply(const turn::ApplyContextUse& use, const Target& target) {
    conversations_.updateContextUse(target.row, use.usedTokens, store_.now());
    return Effect::change;
  }

  Effect apply(const turn::SetSession& session, const Target& target) {
    conversations_.updateResumedSessionId(target.row, session.sessionId);
    return Effect::change;
  }

  std::optional<ToolInvocationId> knownInvocation(std::string_view toolCallId, const Target& target) {
    const auto found = items_.newestInvocation(target.row, toolCallId);
    if (!found) {
      kLog.warning("completeToolInvocation found no invocation {} in conversation {}", toolCallId, target.id.text());
    }
    return found;
  }

  /// Closes the open tool group: the item stands behind it.
  ConversationItemId append(const ItemTable::NewItem& item, const Target& target) {
    openToolGroupByConversation_.erase(target.id);
    const ConversationItemId added = items_.insert(item, store_.now());
    target.changes.inserted(added, target.id);
    return added;
  }

  ConversationItemId openToolGroup(const Target& target, Timestamp now) {
    const auto open = openToolGroupByConversation_.find(target.id);
    if (open != openToolGroupByConversation_.end() && items_.isGroup(open->second, target.row)) return open->second;
    const ConversationItemId group = items_.insert(
        ItemTable::NewItem{
            .conversation = target.row, .kind = ConversationItemKind::toolInvocationGroup, .rawJSON = {}, .text = {}},
        now);
    target.changes.inserted(group, target.id);
    openToolGroupByConversation_.insert_or_assign(target.id, group);
    return group;
  }

  void endProcessesOfDeadRun(ConversationId id) {
    const auto owner = store_.read([&]() -> std::optional<std::string> {
      const auto conversation = conversations_.find(id);
      return conversation ? runs_.ownerOf(*conversation) : std::nullopt;
    });
    if (owner) store_.container().processes().recover(*owner);  // does nothing for one that lives
  }

  static void logUnknown(std::string_view words, ConversationId id) { kLog.error("{} {}", words, id.text()); }

  static std::optional<TranscriptEntry> readEntry(const sqlite::Query& row) {
    switch (conversationItemKindFromRawValue(row.text(0)).value()) {
      case ConversationItemKind::userMessage:
        return TranscriptEntry{TranscriptEntry::User{readText(row, 1)}};
      case ConversationItemKind::agentMessage:
        return TranscriptEntry{TranscriptEntry::Agent{.text = readText(row, 1), .rawJSON = readText(row, 7)}};
      case ConversationItemKind::toolInvocationGroup:
        if (row.isNull(2)) return std::nullopt;
        return TranscriptEntry{
            TranscriptEntry::ToolInvocation{.callId = readText(row, 2),
                                            .name = readOptionalText(row, 3),
                                            .input = readOptionalText(row, 4),
                                            .output = readOptionalText(row, 5).value_or(std::string()),
                                            .failed = row.text(6) == rawValue(ToolInvocationStatus::failed),
                                            .rawJSON = readText(row, 8)}};
      case ConversationItemKind::compactionEvent:
      case ConversationItemKind::failureEvent:
        return std::nullopt;
    }
    __builtin_unreachable();
  }

  StoreConnection store_;
  ConversationTable conversations_;
  ItemTable items_;
  RunTable runs_;
  sqlite::Statement transcript_;
  std::map<ConversationId, ConversationItemId> openToolGroupByConversation_;
};

std::shared_ptr<ConversationItemModelActor> ConversationItemModelActor::make(
    std::shared_ptr<ModelContainer> modelContainer) {
  return std::make_shared<ConversationItemModelActor>(std::move(modelContainer));
}

ConversationItemModelActor::ConversationItemModelActor(std::shared_ptr<ModelContainer> modelContainer)
    : StoreActor(std::move(modelContainer)) {}

ConversationItemModelActor::~ConversationItemModelActor() = default;

awaitable<void> ConversationItemModelActor::appendUserPrompt(ConversationId conversationId, std::string prompt,
                                                             AgentType agent) {
  return perform([conversationId, prompt = std::move(prompt), agent](auto& operations) {
    operations.appendUserPrompt(conversationId, prompt, agent);
  });
}

awaitable<void> ConversationItemModelActor::appendAgentMessage(ConversationId conversationId, std::string rawJSON,
                                                               std::string text, std::optional<std::string> agentModel,
                                                               std::optional<std::string> providerMessageId) {
  return applyOne("appendAgentMessage called with unknown id", conversationId,
                  turn::AppendAgentMessage{.rawJSON = std::move(rawJSON),
                                           .text = std::move(text),
                                           .agentModel = std::move(agentModel),
                                           .providerMessageId = std::move(providerMessageId)});
}

awaitable<void> ConversationItemModelActor::appendToolInvocation(
    ConversationId conversationId, std::string rawJSON, std::string text, std::string toolName, std::string toolCallId,
    std::optional<std::string> input, std::optional<std::string> output, ToolInvocationStatus status) {
  return applyOne("appendToolInvocation called with unknown id", conversationId,
                  turn::AppendToolInvocation{.rawJSON = std::move(rawJSON),
                                             .text = std::move(text),
                                             .toolName = std::move(toolName),
                                             .toolCallId = std::move(toolCallId),
                                             .input = std::move(input),
                                             .output = std::move(output),
                                             .status = status});
}

awaitable<void> ConversationItemModelActor::completeToolInvocation(ConversationId conversationId,
                                                                   std::string toolCallId, std::string output,
                                                                   ToolOutcome outcome) {
  return applyOne("completeToolInvocation called with unknown id", conversationId,
                  turn::CompleteToolInvocation{
                      .toolCallId = std::move(toolCallId), .output = std::move(output), .outcome = outcome});
}

awaitable<void> ConversationItemModelActor::appendCompactionEvent(ConversationId conversationId, std::string rawJSON,
                                                                  std::string text) {
  return applyOne("appendCompactionEvent called with unknown id", conversationId,
                  turn::AppendCompactionEvent{.rawJSON = std::move(rawJSON), .text = std::move(text)});
}

awaitable<void> ConversationItemModelActor::appendFailureEvent(ConversationId conversationId, std::string rawJSON,
                                                               std::string text) {
  return perform([conversationId, rawJSON = std::move(rawJSON), text = std::move(text)](auto& operations) {
    operations.appendFailureEvent(conversationId, rawJSON, text);
  });
}

awaitable<void> ConversationItemModelActor::applyAssistantTurnUsage(ConversationId conversationId,
                                                                    std::optional<std::string> providerMessageId,
                                                                    TokenUsageSnapshot snapshot) {
  return applyOne("applyAssistantTurnUsage unknown conversation", conversationId,
                  turn::ApplyUsage{.providerMessageId = std::move(providerMessageId), .snapshot = snapshot});
}

awaitable<void> ConversationItemModelActor::applyContextWindow(ConversationId conversationId, std::int64_t maxTokens) {
  return applyOne("applyContextWindow unknown conversation", conversationId, turn::ApplyContextWindow{maxTokens});
}

awaitable<bool> ConversationItemModelActor::apply(ConversationId conversationId,
                                                  std::vector<TranscriptAction> actions) {
  return perform([conversationId, actions = std::move(actions)](auto& operations) {
    return operations.apply("apply called with unknown id", conversationId, actions);
  });
}

awaitable<void> ConversationItemModelActor::applyOne(std::string_view unknownConversation,
                                                     ConversationId conversationId, TranscriptAction action) {
  return perform([unknownConversation, conversationId, action = std::move(action)](auto& operations) mutable {
    operations.apply(unknownConversation, conversationId, {std::move(action)});
  });
}

awaitable<std::vector<TranscriptEntry>> ConversationItemModelActor::loadTranscriptEntries(
    ConversationId conversationId) {
  return perform([=](auto& operations) { return operations.loadTranscriptEntries(conversationId); });
}

awaitable<bool> ConversationItemModelActor::beginRun(ConversationId conversationId) {
  return perform([=](auto& operations) { return operations.beginRun(conversationId); });
}

awaitable<bool> ConversationItemModelActor::endRun(ConversationId conversationId, std::string unfinishedToolOutput,
                                                   std::optional<PromptOutcome> outcome) {
  return perform([conversationId, output = std::move(unfinishedToolOutput), outcome](auto& operations) {
    return operations.endRun(conversationId, {.unfinishedToolOutput = output, .outcome = outcome});
  });
}

awaitable<std::optional<RunningInvocation>> ConversationItemModelActor::newestRunningInvocation(
    ConversationId conversationId) {
  return perform([=](auto& operations) { return operations.newestRunningInvocation(conversationId); });
}

}  // namespace ravant
