#include "desktop/composer/prompt_sender.hpp"

#include <algorithm>
#include <utility>

#include "app/model_efforts.hpp"
#include "app/prompt_submission.hpp"
#include "core/agent_runner_error.hpp"
#include "desktop/composer/attachments.hpp"
#include "desktop/program/desktop_window.hpp"
#include "platform/async/on_pool.hpp"

namespace ravant::desktop {
namespace {

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
  if (!gone.empty()) throw PromptRefusedError("an attached file is gone: " + gone.front());
}

/// As a sentence, for the core's words begin in the middle of one.
std::string sentence(std::string words) {
  if (!words.empty() && words.front() >= 'a' && words.front() <= 'z') words.front() -= 'a' - 'A';
  return words;
}

}  // namespace

DraftPlace PromptOrder::place() const { return conversation ? DraftPlace(*conversation) : DraftPlace(project.id); }

PromptSender::PromptSender(Application& application, StoreChanges& changes)
    : application_(application), queue_(application), drafts_(DraftStore::make(application.modelContainer())) {
  connect(&changes, &StoreChanges::itemChanged, this,
          [this](ConversationId conversation, ConversationItemId, ChangeOperation operation) {
            if (operation == ChangeOperation::inserted) itemWasAdded(conversation);
          });
}

void PromptSender::send(PromptOrder order) {
  auto entry = enter(order, Way::run);
  InterfaceLoop::instance().spawn(sendToEnd(shared_from_this(), std::move(order), std::move(entry)));
}

void PromptSender::queue(PromptOrder order, QueueEnd end) {
  auto entry = enter(order, Way::queue);
  InterfaceLoop::instance().spawn(addToQueue(shared_from_this(), std::move(order), end, std::move(entry)));
}

void PromptSender::sendFromQueue(ConversationId conversation, QueuedPromptId prompt) {
  InterfaceLoop::instance().spawn(sendQueued(shared_from_this(), conversation, prompt));
}

void PromptSender::stop(ConversationId conversation) {
  InterfaceLoop::instance().spawn(application_.runners().cancelRunner(conversation));
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

void PromptSender::itemWasAdded(ConversationId conversation) {
  const auto stored = std::ranges::find_if(underWay_, [&](const auto& entry) {
    return entry->way == Way::run && entry->place == DraftPlace(conversation) && !entry->isStored;
  });
  if (stored == underWay_.end()) return;
  (*stored)->isStored = true;
  Q_EMIT underWayChanged();
  InterfaceLoop::instance().spawn(settle(shared_from_this(), *stored));
}

awaitable<void> PromptSender::settle(std::shared_ptr<PromptSender> self, std::shared_ptr<UnderWay> entry) {
  co_await dropDraft(self->drafts_, entry->draft, entry->prompt);
  self->leave(entry);
}

awaitable<void> PromptSender::sendToEnd(std::shared_ptr<PromptSender> self, PromptOrder order,
                                        std::shared_ptr<UnderWay> entry) {
  const std::string prompt = order.prompt;
  std::string words;
  try {
    co_await self->submit(std::move(order), entry);
    if (!std::exchange(entry->isStored, true)) co_await settle(self, entry);
    co_return;
  } catch (const std::exception& error) {
    words = sentence(error.what());
  }
  co_await self->application_.modelContainer()->changeFeed()->flush();
  if (entry->isStored) throw std::runtime_error(words);
  self->leave(entry);
  co_await self->giveBack(entry->place, prompt, words);
}

awaitable<void> PromptSender::submit(PromptOrder order, std::shared_ptr<UnderWay> entry) {
  expectFolderOf(order.project);
  co_await expectAttachments(application_, order.prompt, order.project.path);
  PromptSubmission submission{.prompt = std::move(order.prompt),
                              .project = order.project,
                              .agent = co_await agentOf(application_, order.agent),
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
    const auto made = co_await application_.conversations().createConversation(order.project.id, order.agent);
    if (!made) throw PromptRefusedError("the project or the agent is gone");
    submission.conversation = *made;
    entry->place = *made;
    Q_EMIT began(order.project.id, *made);
  }
  co_await submitPrompt(application_, std::move(submission));
}

awaitable<void> PromptSender::addToQueue(std::shared_ptr<PromptSender> self, PromptOrder order, QueueEnd end,
                                         std::shared_ptr<UnderWay> entry) {
  const ConversationId conversation = *order.conversation;
  std::string words;
  try {
    co_await expectAttachments(self->application_, order.prompt, order.project.path);
    if (order.effort) {
      const Agent agent = co_await agentOf(self->application_, order.agent);
      co_await expectEffort(self->application_.agents(), agent, order.model, *order.effort);
    }
    const auto added = co_await self->prompts().add(
        conversation, {.prompt = order.prompt, .model = order.model, .effort = order.effort});
    if (!added) throw PromptRefusedError("the conversation is gone");
    co_await dropDraft(self->drafts_, order.place(), order.prompt);
    self->leave(entry);
    if (end == QueueEnd::front) co_await self->putFirst(conversation, *added);
    co_return;
  } catch (const std::exception& error) {
    words = sentence(error.what());
  }
  self->leave(entry);
  co_await self->giveBack(conversation, order.prompt, words);
}

awaitable<void> PromptSender::sendQueued(std::shared_ptr<PromptSender> self, ConversationId conversation,
                                         QueuedPromptId prompt) {
  co_await self->putFirst(conversation, prompt);
  co_await self->queue_.sendNext(conversation);
}

awaitable<void> PromptSender::putFirst(ConversationId conversation, QueuedPromptId prompt) {
  std::vector<QueuedPromptId> order{prompt};
  co_await prompts().reorder(conversation, std::move(order));
}

awaitable<void> PromptSender::dropDraft(std::shared_ptr<DraftStore> drafts, DraftPlace place, std::string text) {
  const auto kept = co_await drafts->draft(place);
  if (kept == text) co_await drafts->keep(place, "");
}

awaitable<void> PromptSender::giveBack(DraftPlace place, std::string prompt, std::string words) {
  RefusedPrompt returned{.place = place, .prompt = prompt, .words = words};
  Q_EMIT refused(&returned);
  if (returned.isTaken) co_return;
  const auto kept = co_await drafts_->draft(place);
  const bool isThere = !kept || kept == prompt;
  co_await drafts_->keep(place, isThere ? prompt : prompt + "\n\n" + *kept);
  if (DesktopWindow* const window = DesktopWindow::present()) {
    window->notices()->tellError(QString::fromStdString("A prompt was not sent and is kept as a draft: " + words));
  }
}

}  // namespace ravant::desktop
