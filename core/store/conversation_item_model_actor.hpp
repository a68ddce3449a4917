#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/agent_type.hpp"
#include "core/id.hpp"
#include "core/prompt_choice.hpp"
#include "core/prompt_outcome.hpp"
#include "core/store/store_actor.hpp"
#include "core/token_usage_snapshot.hpp"
#include "core/tool_invocation.hpp"
#include "core/transcript_action.hpp"
#include "core/transcript_entry.hpp"

namespace ravant {

class ConversationItemOperations;

/// Writes transcripts while prompts run. Every operation is committed when it returns; one with an
/// unknown conversation id is logged and does nothing. All throw `StoreError`.
///
/// Each new entry but a tool call closes the conversation's open tool group, whoever adds it. Ids that are empty are
/// stored as absent.
///
/// What streams in survives the death of the process; a prompt, a failure and the end of a run, with
/// all before them, survive a power cut.
class ConversationItemModelActor : public StoreActor<ConversationItemOperations> {
 public:
  static std::shared_ptr<ConversationItemModelActor> make(std::shared_ptr<ModelContainer> modelContainer);
  explicit ConversationItemModelActor(std::shared_ptr<ModelContainer> modelContainer);
  ~ConversationItemModelActor() override;

  /// Whoever prompts has looked at the conversation, but for a queued prompt: that one is taken out of the queue with
  /// it, and where it is no longer there as it is given, nothing is done and `QueuedPromptNotSentError` is thrown.
  /// Model and effort stay on the conversation.
  awaitable<void> appendUserPrompt(ConversationId conversationId, std::string prompt, AgentType agent,
                                   PromptChoice choice = {});

  /// The text is split into blocks.
  awaitable<void> appendAgentMessage(ConversationId conversationId, std::string rawJSON, std::string text,
                                     std::optional<std::string> agentModel,
                                     std::optional<std::string> providerMessageId);

  /// Adds to the conversation's open tool group, or opens one.
  awaitable<void> appendToolInvocation(ConversationId conversationId, std::string rawJSON, std::string text,
                                       std::string toolName, std::string toolCallId, std::optional<std::string> input,
                                       std::optional<std::string> output, ToolInvocationStatus status);

  /// Finishes the conversation's newest invocation with that call id, one that is still running first; without one
  /// nothing changes.
  awaitable<void> completeToolInvocation(ConversationId conversationId, std::string toolCallId, std::string output,
                                         ToolOutcome outcome);

  awaitable<void> appendCompactionEvent(ConversationId conversationId, std::string rawJSON, std::string text);
  awaitable<void> appendFailureEvent(ConversationId conversationId, std::string rawJSON, std::string text);
  /// The same, but nothing is done where `last` is no longer the transcript's last entry.
  awaitable<void> appendFailureEventBehind(ConversationItemId last, ConversationId conversationId, std::string text);

  /// Writes the counts onto the conversation and, with a message id that is not empty, onto the
  /// conversation's latest message of that id.
  awaitable<void> applyAssistantTurnUsage(ConversationId conversationId, std::optional<std::string> providerMessageId,
                                          TokenUsageSnapshot snapshot);
  awaitable<void> applyContextWindow(ConversationId conversationId, std::int64_t maxTokens);

  /// Performs what an agent did, in order, all in one transaction; where the store takes one of the actions for too
  /// large, those before it are kept. False, with nothing done, when the conversation is unknown.
  awaitable<bool> apply(ConversationId conversationId, std::vector<TranscriptAction> actions);

  /// The conversation for an agent that keeps no session of its own, oldest first.
  awaitable<std::vector<TranscriptEntry>> loadTranscriptEntries(ConversationId conversationId);

  /// Marks a prompt as in flight in this process. Throws `AgentRunnerError` `busy` while another
  /// living process runs one in the conversation; what a dead one left running is ended first. False
  /// when the conversation is unknown.
  awaitable<bool> beginRun(ConversationId conversationId);

  /// Takes the mark off, stores how the prompt ended that was appended under it, and finishes as failed, with
  /// `unfinishedToolOutput`, the tool calls that are still running. False when the conversation is unknown.
  awaitable<bool> endRun(ConversationId conversationId, std::string unfinishedToolOutput,
                         std::optional<PromptOutcome> outcome = {});

  /// Of the conversation's tool calls that still run, the one that began last.
  awaitable<std::optional<RunningInvocation>> newestRunningInvocation(ConversationId conversationId);

 private:
  awaitable<void> applyOne(ConversationId conversationId, TranscriptAction action);
};

}  // namespace ravant
