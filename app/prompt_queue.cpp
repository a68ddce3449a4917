#include "app/prompt_queue.hpp"

#include <fmt/format.h>

#include <boost/asio/experimental/awaitable_operators.hpp>
#include <boost/asio/this_coro.hpp>
#include <map>
#include <set>

#include "app/default_model.hpp"
#include "app/model_efforts.hpp"
#include "app/prompt_submission.hpp"
#include "core/agent_runner_error.hpp"
#include "core/store/conversation_item_model_actor.hpp"
#include "platform/async/signal.hpp"
#include "platform/log/log.hpp"

namespace ravant {
namespace {

constexpr Log kLog("com.ravant.app", "PromptQueue");

awaitable<Project> projectOf(Application& application, Conversation conversation) {
  for (Project& project : co_await application.projects().projects()) {
    if (project.id == conversation.project) co_return std::move(project);
  }
  throw PromptRefusedError("the project of the conversation was removed");
}

awaitable<Agent> agentOf(Application& application, Conversation conversation) {
  for (Agent& agent : co_await application.agents().agents()) {
    if (agent.id != conversation.agent) continue;
    if (!agent.enabled) throw PromptRefusedError("the agent of the conversation is disabled");
    co_return std::move(agent);
  }
  if (const auto type = conversation.foreignAgentType) {
    throw PromptRefusedError(fmt::format("the conversation's agent, {}, is not registered", displayName(*type)));
  }
  throw PromptRefusedError("the agent of the conversation was removed");
}

awaitable<std::string> modelFor(Application& application, QueuedText text, Conversation conversation, Agent agent) {
  if (text.model) co_return *std::move(text.model);
  if (conversation.lastUsedModel) co_return *std::move(conversation.lastUsedModel);
  if (auto slug = co_await defaultModel(application, std::move(agent))) co_return *std::move(slug);
  throw PromptRefusedError("the agent of the conversation has no enabled model");
}

awaitable<PromptSubmission> submissionOf(Application& application, QueuedPrompt queued, Conversation conversation) {
  PromptSubmission submission{.prompt = queued.text.prompt,
                              .project = co_await projectOf(application, conversation),
                              .agent = co_await agentOf(application, conversation),
                              .model = {},
                              .effort = queued.text.effort,
                              .conversation = conversation.id,
                              .resumedSessionId = conversation.agentResumedSessionId,
                              .queued = queued};
  co_await expectFolderOf(application, submission.project);
  submission.model = co_await modelFor(application, queued.text, conversation, submission.agent);
  if (submission.effort) {
    co_await expectEffort(application.agents(), submission.agent, submission.model, *submission.effort);
  } else {
    submission.effort = co_await lastEffort(application.agents(), conversation, submission.agent, submission.model);
  }
  co_return submission;
}

/// The conversations whose queue may go on by the change.
std::optional<ConversationId> touchedBy(const Change& change) {
  const bool isOfQueue = std::holds_alternative<QueuedPromptId>(change.entity);
  const bool isOfItem =
      std::holds_alternative<ConversationItemId>(change.entity) && change.operation == ChangeOperation::updated;
  return isOfQueue || isOfItem ? change.conversation : std::nullopt;
}

}  // namespace

struct PromptQueue::Followed {
  // Only a prompt that was added or that finished after these counts. The clock can be set back.
  ConversationItemId behind;
  Timestamp since;
  std::shared_ptr<NotificationObserver> runs;
  /// The entry behind which nothing could be sent, nor that be written: until something is written there again.
  std::map<ConversationId, ConversationItemId> stuck;
  int sending = 0;
  Signal sent;
};

PromptQueue::PromptQueue(Application& application)
    : application_(application), prompts_(QueuedPromptStore::make(application.modelContainer())) {}

awaitable<std::optional<PromptEndReason>> PromptQueue::sendNext(ConversationId conversation) {
  const auto summary = co_await whenOver(conversation);
  const auto queued = co_await prompts_->next(conversation);
  if (!queued || !summary) co_return std::nullopt;
  PromptSubmission submission = co_await submissionOf(application_, *queued, summary->conversation);
  try {
    co_return co_await submitPrompt(application_, std::move(submission));
  } catch (const PromptRefusedError& error) {
    kLog.debug("a queued prompt waits on: {}", error.what());
  } catch (const QueuedPromptNotSentError& error) {
    kLog.debug("a queued prompt waits on: {}", error.what());
  }
  co_return std::nullopt;
}

awaitable<std::optional<ConversationSummary>> PromptQueue::whenOver(ConversationId conversation) {
  const auto runs = application_.notifications().observe(std::string(kActiveConversationsChanged),
                                                         co_await asio::this_coro::executor);
  for (;;) {
    auto summary = co_await application_.conversations().conversation(conversation);
    if (!summary || summary->run) co_return std::nullopt;
    // One that was stopped leaves the way only after its end was stored.
    if (!application_.runners().activeConversations().contains(conversation)) co_return summary;
    if (!co_await runs->next()) co_return std::nullopt;
  }
}

awaitable<void> PromptQueue::follow() {
  using asio::experimental::awaitable_operators::operator&&;
  const auto interface = co_await asio::this_coro::executor;
  const auto followed = std::make_shared<Followed>(
      Followed{.behind = co_await application_.transcripts().latestAdded(),
               .since = application_.modelContainer()->clock().now(),
               .runs = application_.notifications().observe(std::string(kActiveConversationsChanged), interface),
               .sent = Signal(interface)});
  auto changes = co_await application_.modelContainer()->changeFeed()->subscribe(interface);
  co_await (followStore(followed, std::move(changes)) && followRuns(followed));
  while (followed->sending > 0) co_await followed->sent.wait();
}

awaitable<void> PromptQueue::followStore(std::shared_ptr<Followed> followed,
                                         std::shared_ptr<ChangeSubscription> changes) {
  while (const auto batch = co_await changes->next()) {
    std::set<ConversationId> touched;
    for (const Change& change : batch->changes) {
      if (const auto conversation = touchedBy(change)) touched.insert(*conversation);
    }
    if (batch->isIncomplete) {
      for (const ConversationId& conversation : co_await waiting()) touched.insert(conversation);
    }
    for (const ConversationId& conversation : touched) {
      followed->stuck.erase(conversation);
      co_await goOn(conversation, followed);
    }
  }
  followed->runs.reset();
}

awaitable<void> PromptQueue::followRuns(std::shared_ptr<Followed> followed) {
  while (followed->runs) {
    const auto posted = co_await followed->runs->next();
    if (!posted) co_return;
    std::set<ConversationId> touched;
    for (const Notification& notification : *posted) {
      if (const auto id = Uuid::parse(notification.object)) touched.insert(ConversationId(*id));
    }
    for (const ConversationId& conversation : touched) co_await goOn(conversation, followed);
  }
}

awaitable<std::vector<ConversationId>> PromptQueue::waiting() {
  try {
    co_return co_await prompts_->conversations();
  } catch (const StoreError& error) {
    kLog.error("which conversations have queued prompts is not known: {}", error.what());
    co_return std::vector<ConversationId>();
  }
}

awaitable<void> PromptQueue::goOn(ConversationId conversation, std::shared_ptr<Followed> followed) {
  std::optional<ConversationItemId> last;
  try {
    last = co_await dueBehind(conversation, followed);
  } catch (const std::exception& error) {
    kLog.error("the queue of conversation {} is not known: {}", conversation.text(), error.what());
  }
  if (!last) co_return;
  const auto stuck = followed->stuck.find(conversation);
  if (stuck != followed->stuck.end() && stuck->second == *last) co_return;
  ++followed->sending;
  asio::co_spawn(co_await asio::this_coro::executor, sendOrFail(conversation, *last),
                 [followed, conversation, last = *last](std::exception_ptr error) {
                   if (error) {
                     kLog.error("that a queued prompt could not be sent is not in the transcript");
                     followed->stuck.insert_or_assign(conversation, last);
                   }
                   --followed->sending;
                   followed->sent.notify();
                 });
}

awaitable<std::optional<ConversationItemId>> PromptQueue::dueBehind(ConversationId conversation,
                                                                    std::shared_ptr<Followed> followed) {
  if (application_.runners().activeConversations().contains(conversation)) co_return std::nullopt;
  if (!co_await prompts_->next(conversation)) co_return std::nullopt;
  const auto last = co_await application_.transcripts().last(conversation);
  if (!last || last->kind == ConversationItemKind::failureEvent) co_return std::nullopt;
  const auto prompt = co_await application_.transcripts().promptOf(last->id);
  const auto* end = prompt ? std::get_if<UserMessage>(&prompt->detail) : nullptr;
  if (!end || end->endReason != PromptOutcome::finished) co_return std::nullopt;
  const bool isOfNow = prompt->id > followed->behind || end->endedAt >= followed->since;
  co_return isOfNow ? std::optional(last->id) : std::nullopt;
}

awaitable<void> PromptQueue::sendOrFail(ConversationId conversation, ConversationItemId last) {
  std::string failure;
  try {
    co_await sendNext(conversation);
    co_return;
  } catch (const std::exception& error) {
    failure = error.what();
  }
  const auto items = ConversationItemModelActor::make(application_.modelContainer());
  co_await items->appendFailureEventBehind(last, conversation, "A queued prompt was not sent: " + failure);
}

}  // namespace ravant
