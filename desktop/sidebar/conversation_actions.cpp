#include "desktop/sidebar/conversation_actions.hpp"

#include <algorithm>

#include "core/store/store_error.hpp"
#include "platform/text/text.hpp"

namespace ravant::desktop {
namespace {

QString quoted(const QString& title) { return QStringLiteral("“%1”").arg(title); }

awaitable<void> setArchived(Application& application, ConversationId id, bool archived) {
  ConversationModelActor& conversations = application.conversations();
  co_await (archived ? conversations.archiveConversation(id) : conversations.unarchiveConversation(id));
}

/// For after the way back: also where no list is there any more, at the end of the program.
awaitable<void> deleteConversation(Application& application, ConversationId id, QString title,
                                   std::weak_ptr<ConversationRoster> roster) {
  QString fault;
  try {
    co_await application.conversations().deleteConversation(id);
    co_return;
  } catch (const InUseError& error) {
    fault = ConversationActions::tr("%1 was not deleted: %2").arg(quoted(title), QString::fromUtf8(error.what()));
  } catch (const StoreError& error) {
    fault = ConversationActions::tr("%1 was not deleted: %2").arg(quoted(title), QString::fromUtf8(error.what()));
  }
  if (const auto lists = roster.lock()) lists->show(id);
  if (DesktopWindow* const window = DesktopWindow::present()) window->notices()->tellError(fault);
}

}  // namespace

ConversationActions::ConversationActions() : roster_(ConversationRoster::shared()) {}

void ConversationActions::rename(const QString& conversation, const QString& title) {
  const std::string wanted(trimmed(title.toStdString()));
  start(alive(DesktopWindow::instance().application().conversations().renameConversation(
      idOf<ConversationId>(conversation), wanted.empty() ? std::nullopt : std::optional(wanted))));
}

void ConversationActions::archive(const QString& conversation) {
  const auto listed = roster_->conversation(idOf<ConversationId>(conversation));
  if (!listed || listed->archived) return;
  const auto showAgain = leave(*listed);
  DesktopWindow& window = DesktopWindow::instance();
  InterfaceLoop::instance().spawn(setArchived(window.application(), listed->id, true));
  window.notices()->tell(tr("%1 was archived").arg(quoted(listed->title)), [id = listed->id, showAgain] {
    InterfaceLoop::instance().spawn(setArchived(DesktopWindow::instance().application(), id, false));
    showAgain();
  });
}

void ConversationActions::unarchive(const QString& conversation) {
  InterfaceLoop::instance().spawn(
      setArchived(DesktopWindow::instance().application(), idOf<ConversationId>(conversation), false));
}

void ConversationActions::remove(const QString& conversation) {
  const auto listed = roster_->conversation(idOf<ConversationId>(conversation));
  if (!listed) return;
  DesktopWindow& window = DesktopWindow::instance();
  if (listed->isRunning) {
    return window.notices()->tellError(tr("%1 was not deleted: a prompt is running in it").arg(quoted(listed->title)));
  }
  const auto showAgain = leave(*listed);
  roster_->hide(listed->id);
  const std::weak_ptr<ConversationRoster> lists = roster_;
  window.notices()->tell(
      tr("%1 was deleted").arg(quoted(listed->title)),
      [lists, id = listed->id, showAgain] {
        if (const auto roster = lists.lock()) roster->show(id);
        showAgain();
      },
      [lists, id = listed->id, title = listed->title] {
        InterfaceLoop::instance().spawn(deleteConversation(DesktopWindow::instance().application(), id, title, lists));
      });
}

std::function<void()> ConversationActions::leave(const ListedConversation& conversation) {
  DesktopWindow& window = DesktopWindow::instance();
  if (window.shownConversation() != conversation.id) return [] {};
  const WindowState::Selection before = window.state().selection();

  std::vector<ConversationId> beside;
  for (const auto& other : roster_->conversations()) {
    if (other->project == conversation.project && other->archived == conversation.archived) beside.push_back(other->id);
  }
  const auto own = std::ranges::find(beside, conversation.id);
  std::optional<ConversationId> next;
  if (own != beside.end() && own + 1 != beside.end()) {
    next = *(own + 1);
  } else if (own != beside.begin() && own != beside.end()) {
    next = *(own - 1);
  }
  window.state().conversationWasArchived(conversation.id, next);
  if (!next) window.state().setSelection(before.content, NewConversation{conversation.project});
  return [before, after = window.state().selection()] {
    WindowState& state = DesktopWindow::instance().state();
    if (state.selection() == after) state.setSelection(before.content, before.detail);
  };
}

}  // namespace ravant::desktop
