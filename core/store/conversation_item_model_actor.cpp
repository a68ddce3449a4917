#include "core/store/conversation_item_model_actor.hpp"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <span>

#include "core/agent_runner_error.hpp"
#include "core/store/item_table.hpp"
#include "core/store/row_values.hpp"
#include "core/store/run_table.hpp"
#include "core/store/transcript_editor.hpp"
#include "core/store/transcript_replay.hpp"
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
        editor_(store_, conversations_, items_),
        replay_(store_),
        takeQueued_(store_.prepare(
            "DELETE FROM queued_prompt WHERE id = ? AND conversation_id = ? AND prompt = ? AND model IS ? AND "
            "effort IS ? RETURNING 1")) {}

  void appendUserPrompt(ConversationId id, const std::string& prompt, AgentType agent, const PromptChoice& choice) {
    const bool isKnown = change(id, Durability::powerCut, [&](const Target& target) {
      if (choice.queued) takeQueued(*choice.queued, target);
      if (choice.model) conversations_.updateLastPromptSettings(target.row, *choice.model, choice.effort);
      const Timestamp now = store_.now();
      const ConversationItemId added = editor_.append({.conversation = target.row,
                                                       .kind = ConversationItemKind::userMessage,
                                                       .rawJSON = formatUserPrompt(prompt, agent, now),
                                                       .text = prompt},
                                                      target);
      runs_.setPrompt(target.row, added);
      conversations_.touchLastPrompt(target.row, now);
      if (!choice.queued) conversations_.look(target.row, added);
      return Effect::change;
    });
    if (!isKnown) logUnknown("appendUserPrompt called with unknown id", id);
  }

  void appendFailureEvent(ConversationId id, std::string_view rawJSON, std::string_view text,
                          std::optional<ConversationItemId> last = {}) {
    const bool isKnown = change(
        id, Durability::powerCut,
        [&](const Target& target) {
          if (last && items_.last(target.row) != last) return Effect::none;
          editor_.append({.conversation = target.row,
                          .kind = ConversationItemKind::failureEvent,
                          .rawJSON = rawJSON,
                          .text = text},
                         target);
          return Effect::activity;
        },
        FullDisk::takesReserve);
    if (!isKnown) logUnknown("appendFailureEvent called with unknown id", id);
  }

  bool apply(ConversationId id, std::span<const TranscriptAction> actions) {
    try {
      return applyTogether(id, actions);
    } catch (const StoreError& error) {
      if (error.kind() != StoreError::Case::tooLarge || actions.size() == 1) throw;
    }
    // What stands before the one that is too large is not lost with it.
    return std::ranges::all_of(actions, [&](const auto& action) { return applyTogether(id, std::span(&action, 1)); });
  }

  std::vector<TranscriptEntry> loadTranscriptEntries(ConversationId id) {
    return store_.read([&] {
      const auto conversation = conversations_.find(id);
      if (conversation) return replay_.entries(*conversation);
      logUnknown("loadTranscriptEntries called with unknown id", id);
      return std::vector<TranscriptEntry>();
    });
  }

  bool beginRun(ConversationId id) {
    endProcessesOfDeadRun(id);
    const bool isKnown = change(id, Durability::processDeath, [&](const Target& target) {
      runs_.begin(id, target.row, target.changes);
      return Effect::none;
    });
    store_.container().unstoredEnds()->remove(id);
    if (!isKnown) logUnknown("beginRun called with unknown id", id);
    return isKnown;
  }

  bool endRun(ConversationId id, const std::string& unfinishedToolOutput, std::optional<PromptOutcome> outcome) {
    UnstoredEnds& unstored = *store_.container().unstoredEnds();
    const RunEnd end = unstored.find(id).value_or(RunEnd{unfinishedToolOutput, outcome, store_.now()});
    editor_.forgetToolGroup(id);
    try {
      const bool isKnown = change(
          id, Durability::powerCut,
          [&](const Target& target) {
            runs_.end(id, target.row, end, target.changes);
            return Effect::activity;
          },
          FullDisk::takesReserve);
      unstored.remove(id);
      if (!isKnown) logUnknown("endRun called with unknown id", id);
      return isKnown;
    } catch (const StoreError& error) {
      kLog.error("the end of a run in conversation {} could not be stored: {}", id.text(), error.what());
      unstored.add(id, end);
      throw;
    }
  }

  std::optional<RunningInvocation> newestRunningInvocation(ConversationId id) {
    return store_.read([&] {
      const auto conversation = conversations_.find(id);
      return conversation ? items_.newestRunningInvocation(*conversation) : std::nullopt;
    });
  }

 private:
  using Target = TranscriptEditor::Target;
  using Effect = TranscriptEditor::Effect;

  void takeQueued(const QueuedPrompt& queued, const Target& target) {
    const QueuedText& text = queued.text;
    if (!takeQueued_.query(bound(queued.id), bound(target.row), text.prompt, text.model, text.effort).step()) {
      throw QueuedPromptNotSentError("the queued prompt was sent, changed or removed meanwhile");
    }
    target.changes.removed(queued.id, target.id);
  }

  /// Runs `body(Target)`, which says what it did, on the conversation; false, with nothing done, where it is unknown.
  template <class Body>
  bool change(ConversationId id, Durability durability, Body body, FullDisk fullDisk = FullDisk::fails) {
    return store_.write(
        durability,
        [&](Changes& changes) {
          const auto conversation = conversations_.find(id);
          if (!conversation) return false;
          const Effect effect = body(Target{id, *conversation, changes});
          if (effect == Effect::activity) conversations_.touchLastActivity(*conversation, store_.now());
          if (effect != Effect::none) changes.updated(id);
          return true;
        },
        fullDisk);
  }

  bool applyTogether(ConversationId id, std::span<const TranscriptAction> actions) {
    const bool isKnown = change(id, Durability::processDeath, [&](const Target& target) {
      Effect effect = Effect::none;
      for (const TranscriptAction& action : actions) {
        effect = std::max(effect, editor_.apply(action, target));
      }
      return effect;
    });
    if (isKnown) return true;
    for (const TranscriptAction& action : actions) logUnknown(TranscriptEditor::wordsForUnknown(action), id);
    return false;
  }

  void endProcessesOfDeadRun(ConversationId id) {
    const auto owner = store_.read([&]() -> std::optional<std::string> {
      const auto conversation = conversations_.find(id);
      return conversation ? runs_.ownerOf(*conversation) : std::nullopt;
    });
    if (!owner) return;
    const ProcessLedger& processes = store_.container().processes();
    if (processes.recover(*owner) == TreeEnd::complete) return;  // nothing to do for one that lives
    std::vector<pid_t> left;
    for (const ProcessIdentity& process : processes.leftBy(*owner)) left.push_back(process.pid);
    if (left.empty()) return;
    throw PromptRefusedError(
        fmt::format("an earlier prompt of this conversation still runs and could not be ended (processes {}); end it "
                    "yourself: see \"ravant process list\" and \"ravant process end\"",
                    fmt::join(left, ", ")));
  }

  static void logUnknown(std::string_view words, ConversationId id) { kLog.error("{} {}", words, id.text()); }

  StoreConnection store_;
  ConversationTable conversations_;
  ItemTable items_;
  RunTable runs_;
  TranscriptEditor editor_;
  TranscriptReplay replay_;
  sqlite::Statement takeQueued_;
};

std::shared_ptr<ConversationItemModelActor> ConversationItemModelActor::make(
    std::shared_ptr<ModelContainer> modelContainer) {
  return std::make_shared<ConversationItemModelActor>(std::move(modelContainer));
}

ConversationItemModelActor::ConversationItemModelActor(std::shared_ptr<ModelContainer> modelContainer)
    : StoreActor(std::move(modelContainer)) {}

ConversationItemModelActor::~ConversationItemModelActor() = default;

awaitable<void> ConversationItemModelActor::appendUserPrompt(ConversationId conversationId, std::string prompt,
                                                             AgentType agent, PromptChoice choice) {
  return perform([=, prompt = std::move(prompt), choice = std::move(choice)](auto& operations) {
    operations.appendUserPrompt(conversationId, prompt, agent, choice);
  });
}

awaitable<void> ConversationItemModelActor::appendAgentMessage(ConversationId conversationId, std::string rawJSON,
                                                               std::string text, std::optional<std::string> agentModel,
                                                               std::optional<std::string> providerMessageId) {
  return applyOne(conversationId, turn::AppendAgentMessage{.rawJSON = std::move(rawJSON),
                                                           .text = std::move(text),
                                                           .agentModel = std::move(agentModel),
                                                           .providerMessageId = std::move(providerMessageId)});
}

awaitable<void> ConversationItemModelActor::appendToolInvocation(
    ConversationId conversationId, std::string rawJSON, std::string text, std::string toolName, std::string toolCallId,
    std::optional<std::string> input, std::optional<std::string> output, ToolInvocationStatus status) {
  return applyOne(conversationId, turn::AppendToolInvocation{.rawJSON = std::move(rawJSON),
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
  return applyOne(conversationId,
                  turn::CompleteToolInvocation{
                      .toolCallId = std::move(toolCallId), .output = std::move(output), .outcome = outcome});
}

awaitable<void> ConversationItemModelActor::appendCompactionEvent(ConversationId conversationId, std::string rawJSON,
                                                                  std::string text) {
  return applyOne(conversationId, turn::AppendCompactionEvent{.rawJSON = std::move(rawJSON), .text = std::move(text)});
}

awaitable<void> ConversationItemModelActor::appendFailureEvent(ConversationId conversationId, std::string rawJSON,
                                                               std::string text) {
  return perform([conversationId, rawJSON = std::move(rawJSON), text = std::move(text)](auto& operations) {
    operations.appendFailureEvent(conversationId, rawJSON, text);
  });
}

awaitable<void> ConversationItemModelActor::appendFailureEventBehind(ConversationItemId last,
                                                                     ConversationId conversationId, std::string text) {
  return perform([last, conversationId, text = std::move(text)](auto& operations) {
    operations.appendFailureEvent(conversationId, "", text, last);
  });
}

awaitable<void> ConversationItemModelActor::applyAssistantTurnUsage(ConversationId conversationId,
                                                                    std::optional<std::string> providerMessageId,
                                                                    TokenUsageSnapshot snapshot) {
  return applyOne(conversationId,
                  turn::ApplyUsage{.providerMessageId = std::move(providerMessageId), .snapshot = snapshot});
}

awaitable<void> ConversationItemModelActor::applyContextWindow(ConversationId conversationId, std::int64_t maxTokens) {
  return applyOne(conversationId, turn::ApplyContextWindow{maxTokens});
}

awaitable<bool> ConversationItemModelActor::apply(ConversationId conversationId,
                                                  std::vector<TranscriptAction> actions) {
  return perform([conversationId, actions = std::move(actions)](auto& operations) {
    return operations.apply(conversationId, actions);
  });
}

awaitable<void> ConversationItemModelActor::applyOne(ConversationId conversationId, TranscriptAction action) {
  return perform([conversationId, action = std::move(action)](auto& operations) {
    operations.apply(conversationId, std::span(&action, 1));
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
    return operations.endRun(conversationId, output, outcome);
  });
}

awaitable<std::optional<RunningInvocation>> ConversationItemModelActor::newestRunningInvocation(
    ConversationId conversationId) {
  return perform([=](auto& operations) { return operations.newestRunningInvocation(conversationId); });
}

}  // namespace ravant
