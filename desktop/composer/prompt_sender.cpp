#include "desktop/composer/prompt_sender.hpp"

#include <QTimer>
#include <algorithm>
#include <chrono>
#include <exception>
#include <utility>

#include "app/model_efforts.hpp"
#include "app/prompt_submission.hpp"
#include "core/agent_runner_error.hpp"
#include "core/store/store_error.hpp"
#include "desktop/composer/attachments.hpp"
#include "desktop/program/desktop_window.hpp"
#include "platform/async/on_pool.hpp"
#include "platform/log/log.hpp"

namespace ravant::desktop {
namespace {

constexpr Log kLog("com.ravant.desktop", "PromptSender");

constexpr std::chrono::milliseconds kNextTry(2000);

awaitable<Agent> agentOf(Application& application, AgentId id) {
  for (Agent& agent : co_await application.agents().agents()) {
    if (agent.id == id && agent.enabled) co_return std::move(agent);
  }
  throw PromptRefusedError("the agent was removed or disabled");
}

awaitable<void> expectAttachments(Application& application, std::string prompt, std::string folder) {
  std::vector<std::string> gone =
      co_await onPool(application.modelContainer()->work(), [prompt = std::move(prompt), folder = std::move(folder)] {
        return goneAttachments(ComposedPrompt::parse(prompt).attachments, folder);
      });
  if (!gone.empty())
    throw PromptRefusedError("an attached file is gone: " + gone.front() +
                             ". Put it back, or take it out of the prompt");
}

/// The user has stopped the prompt before it was sent.
struct Stopped {};

/// The core's words begin in the middle of a sentence.
std::string capitalized(std::string words) {
  if (!words.empty() && words.front() >= 'a' && words.front() <= 'z') words.front() -= 'a' - 'A';
  return words;
}

}  // namespace

DraftPlace PromptOrder::place() const { return conversation ? DraftPlace(*conversation) : DraftPlace(project.id); }

PromptSender::PromptSender(Application& application, StoreChanges& changes)
    : application_(application), queue_(application), drafts_(DraftStore::make(application.modelContainer())) {
  connect(&changes, &StoreChanges::itemChanged, this,
          [this](ConversationId conversation, ConversationItemId, ChangeOperation operation) {
            if (operation == ChangeOperation::inserted) lookForPrompts(conversation);
          });
  connect(&changes, &StoreChanges::everythingChanged, this, [this] { lookForPrompts({}); });
}

void PromptSender::send(PromptOrder order) {
  auto entry = enter(order, Way::run);
  InterfaceLoop::instance().spawn(sendToEnd(shared_from_this(), std::move(order), std::move(entry)));
}

void PromptSender::queue(PromptOrder order, QueueEnd end) {
  auto entry = enter(order, Way::queue);
  const ConversationId conversation = *order.conversation;
  std::deque<ToQueue>& waiting = toQueue_[conversation];
  waiting.push_back({.order = std::move(order), .end = end, .entry = std::move(entry)});
  if (waiting.size() == 1) InterfaceLoop::instance().spawn(addToQueue(shared_from_this(), conversation));
}

void PromptSender::sendFromQueue(ConversationId conversation, QueuedPromptId prompt) {
  InterfaceLoop::instance().spawn(sendQueued(shared_from_this(), conversation, prompt));
}

void PromptSender::takeFromQueue(ConversationId conversation, QueuedPromptId prompt) {
  InterfaceLoop::instance().spawn(takeOne(shared_from_this(), conversation, prompt));
}

void PromptSender::putBack(const DraftPlace& place, std::string text) {
  InterfaceLoop::instance().spawn(giveBackFor(shared_from_this(), {.place = place, .prompt = std::move(text)}));
}

void PromptSender::stop(const DraftPlace& place) {
  for (const auto& entry : underWay_) {
    if (entry->place == place && entry->way == Way::run && !entry->isStored) entry->isStopped = true;
  }
  const auto* const conversation = std::get_if<ConversationId>(&place);
  if (conversation == nullptr || !application_.runners().activeConversations().contains(*conversation)) return;
  InterfaceLoop::instance().spawn(application_.runners().cancelRunner(*conversation));
}

bool PromptSender::isUnderWay(const DraftPlace& place) const {
  return std::ranges::any_of(underWay_, [&](const auto& entry) { return entry->place == place && !entry->isStored; });
}

bool PromptSender::isUnderWay(const DraftPlace& place, const std::string& text) const {
  return std::ranges::any_of(underWay_,
                             [&](const auto& entry) { return entry->draft == place && entry->prompt == text; });
}

std::shared_ptr<PromptSender::UnderWay> PromptSender::enter(const PromptOrder& order, Way way) {
  underWay_.push_back(std::make_shared<UnderWay>(way, order.prompt, order.place(), order.place()));
  Q_EMIT underWayChanged();
  return underWay_.back();
}

void PromptSender::leave(const std::shared_ptr<UnderWay>& entry) {
  if (std::erase(underWay_, entry) > 0) Q_EMIT underWayChanged();
}

void PromptSender::lookForPrompts(std::optional<ConversationId> conversation) {
  for (const auto& entry : underWay_) {
    const bool isElsewhere = conversation && entry->place != DraftPlace(*conversation);
    if (entry->isStored || !entry->behind || isElsewhere) continue;
    InterfaceLoop::instance().spawn(settleOnceStored(shared_from_this(), entry));
  }
}

awaitable<bool> PromptSender::isStored(std::shared_ptr<UnderWay> entry) {
  const auto* const conversation = std::get_if<ConversationId>(&entry->place);
  if (entry->isStored || !entry->behind || !conversation) co_return entry->isStored;
  TranscriptReader& transcripts = application_.transcripts();
  // Others can have sent theirs there meanwhile.
  for (auto last = co_await transcripts.last(*conversation); last;) {
    const auto prompt = co_await transcripts.promptOf(last->id);
    if (!prompt || prompt->id <= *entry->behind) break;
    if (prompt->text == entry->prompt) co_return true;
    const auto before = co_await transcripts.page(*conversation, prompt->id, PageDirection::before, 1);
    if (before.empty()) break;
    last->id = before.back().id;
  }
  co_return entry->isStored;
}

awaitable<void> PromptSender::settleOnceStored(std::shared_ptr<PromptSender> self, std::shared_ptr<UnderWay> entry) {
  // A run that is refused leaves a failure and no prompt.
  if (!co_await self->isStored(entry) || std::exchange(entry->isStored, true)) co_return;
  Q_EMIT self->underWayChanged();
  const auto* const conversation = std::get_if<ConversationId>(&entry->place);
  // The run had not begun when it was stopped.
  if (entry->isStopped && conversation != nullptr) {
    InterfaceLoop::instance().spawn(self->application_.runners().cancelRunner(*conversation));
  }
  co_await settle(self, entry);
}

awaitable<void> PromptSender::settle(std::shared_ptr<PromptSender> self, std::shared_ptr<UnderWay> entry) {
  try {
    co_await dropDraft(self->drafts_, entry->draft, entry->prompt);
  } catch (const StoreError& error) {
    kLog.warning("the draft of a prompt that was sent stays: {}", error.what());
    QTimer::singleShot(kNextTry, self.get(), [sender = self->weak_from_this(), entry] {
      if (auto present = sender.lock()) InterfaceLoop::instance().spawn(settle(std::move(present), entry));
    });
    co_return;
  }
  self->leave(entry);
}

awaitable<void> PromptSender::sendToEnd(std::shared_ptr<PromptSender> self, PromptOrder order,
                                        std::shared_ptr<UnderWay> entry) {
  const std::string prompt = order.prompt;
  std::string words;
  bool isStored = false;
  try {
    co_await self->submit(std::move(order), entry);
  } catch (const Stopped&) {
  } catch (const std::exception& error) {
    words = capitalized(error.what());
  }
  try {
    if (!entry->isStored) co_await self->application_.modelContainer()->changeFeed()->flush();
    isStored = co_await self->isStored(entry);
  } catch (const std::exception& error) {
    if (words.empty()) words = capitalized(error.what());
  }
  if (isStored) {
    if (!std::exchange(entry->isStored, true)) co_await settle(self, entry);
    if (!words.empty()) throw std::runtime_error(words);
    co_return;
  }
  self->leave(entry);
  co_await self->giveBack({.place = entry->place, .prompt = prompt, .words = words});
  // The conversation has it from here on.
  if (entry->place != entry->draft) co_await dropDraft(self->drafts_, entry->draft, prompt);
}

awaitable<void> PromptSender::submit(PromptOrder order, std::shared_ptr<UnderWay> entry) {
  co_await expectFolderOf(application_, order.project);
  co_await expectAttachments(application_, order.prompt, order.project.path);
  Agent agent = co_await agentOf(application_, order.agent);
  expectShortEnough(agent.type, order.prompt);
  PromptSubmission submission{.prompt = std::move(order.prompt),
                              .project = order.project,
                              .agent = std::move(agent),
                              .model = std::move(order.model),
                              .effort = std::move(order.effort)};
  if (submission.effort) {
    co_await expectEffort(application_.agents(), submission.agent, submission.model, *submission.effort);
  }
  if (order.conversation) {
    const auto summary = co_await application_.conversations().conversation(*order.conversation);
    if (!summary) throw PromptRefusedError("the conversation is gone");
    submission.conversation = *order.conversation;
    submission.resumedSessionId = summary->conversation.agentResumedSessionId;
  } else {
    if (entry->isStopped) throw Stopped();
    const auto made = co_await application_.conversations().createConversation(order.project.id, order.agent);
    if (!made) throw PromptRefusedError("the project or the agent is gone");
    submission.conversation = *made;
    entry->place = *made;
    Q_EMIT began(order.project.id, *made);
  }
  entry->behind = co_await application_.transcripts().latestAdded();
  if (entry->isStopped) throw Stopped();
  co_await submitPrompt(application_, std::move(submission));
}

awaitable<void> PromptSender::addToQueue(std::shared_ptr<PromptSender> self, ConversationId conversation) {
  std::deque<ToQueue>& waiting = self->toQueue_[conversation];
  std::exception_ptr failure;
  while (!waiting.empty()) {
    const ToQueue wanted = waiting.front();
    std::string words;
    try {
      co_await self->addOne(wanted);
    } catch (const std::exception& error) {
      words = capitalized(error.what());
    }
    self->leave(wanted.entry);
    try {
      if (!words.empty()) {
        co_await self->giveBack({.place = conversation, .prompt = wanted.order.prompt, .words = words});
      }
    } catch (const std::exception&) {
      failure = std::current_exception();
    }
    waiting.pop_front();
  }
  self->toQueue_.erase(conversation);
  if (failure) std::rethrow_exception(failure);
}

awaitable<void> PromptSender::addOne(ToQueue wanted) {
  const PromptOrder& order = wanted.order;
  co_await expectAttachments(application_, order.prompt, order.project.path);
  const Agent agent = co_await agentOf(application_, order.agent);
  expectShortEnough(agent.type, order.prompt);
  if (order.effort) co_await expectEffort(application_.agents(), agent, order.model, *order.effort);
  const auto added = co_await prompts().add(*order.conversation,
                                            {.prompt = order.prompt, .model = order.model, .effort = order.effort});
  if (!added) throw PromptRefusedError("the conversation is gone");
  co_await dropDraft(drafts_, order.place(), order.prompt);
  if (wanted.end == QueueEnd::front) {
    co_await putFirst(*order.conversation, *added);
  } else if (order.queuedBehind) {
    std::vector<QueuedPromptId> first = *order.queuedBehind;
    first.push_back(*added);
    co_await prompts().reorder(*order.conversation, std::move(first));
  }
}

awaitable<void> PromptSender::takeOne(std::shared_ptr<PromptSender> self, ConversationId conversation,
                                      QueuedPromptId prompt) {
  std::vector<QueuedPromptId> before;
  for (const QueuedPrompt& each : co_await self->prompts().prompts(conversation)) {
    if (each.id == prompt) break;
    before.push_back(each.id);
  }
  const auto taken = co_await self->prompts().remove(prompt);
  if (!taken) co_return;
  co_await self->giveBack({.place = conversation,
                           .prompt = taken->text.prompt,
                           .model = taken->text.model,
                           .effort = taken->text.effort.value_or(""),
                           .queuedBehind = std::move(before)});
}

awaitable<void> PromptSender::sendQueued(std::shared_ptr<PromptSender> self, ConversationId conversation,
                                         QueuedPromptId prompt) {
  // Behind a run that goes on it stands first.
  co_await self->putFirst(conversation, prompt);
  co_await self->queue_.sendNext(conversation);
}

awaitable<void> PromptSender::putFirst(ConversationId conversation, QueuedPromptId prompt) {
  std::vector<QueuedPromptId> order{prompt};
  co_await prompts().reorder(conversation, std::move(order));
}

awaitable<void> PromptSender::dropDraft(std::shared_ptr<DraftStore> drafts, DraftPlace place, std::string text) {
  co_await drafts->replace(place, std::move(text), "");
}

awaitable<void> PromptSender::giveBackFor(std::shared_ptr<PromptSender> self, ReturnedPrompt prompt) {
  co_await self->giveBack(std::move(prompt));
}

awaitable<void> PromptSender::giveBack(ReturnedPrompt prompt) {
  Q_EMIT returned(&prompt);
  if (prompt.isTaken) co_return;
  for (bool isKept = false; !isKept;) {
    const std::string kept = (co_await drafts_->draft(prompt.place)).value_or("");
    const bool isThere = kept.empty() || kept == prompt.prompt;
    isKept = co_await drafts_->replace(prompt.place, kept, isThere ? prompt.prompt : joined(prompt.prompt, kept));
  }
  DesktopWindow* const window = DesktopWindow::present();
  if (window != nullptr && !prompt.words.empty()) {
    window->notices()->tellError(
        tr("A prompt was not sent and is kept as a draft: %1").arg(QString::fromStdString(prompt.words)));
  }
}

}  // namespace ravant::desktop
