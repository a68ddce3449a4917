#include "desktop/sidebar/conversation_actions.hpp"

#include <QClipboard>
#include <QGuiApplication>
#include <algorithm>

#include "core/store/store_error.hpp"
#include "desktop/program/conversation_archive.hpp"
#include "platform/text/text.hpp"

namespace ravant::desktop {
namespace {

QString quoted(const QString& title) { return QStringLiteral("“%1”").arg(title); }

/// For after the way back: also where no list is there any more, at the end of the program.
awaitable<void> deleteConversation(Application& application, ConversationId id, QString title,
                                   std::weak_ptr<ConversationRoster> roster) {
  QString fault;
  try {
    // By itself: a long one takes seconds, for which the window is not to wait.
    const auto conversations = ConversationModelActor::make(application.modelContainer());
    co_await conversations->deleteConversation(id);
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
  archiveConversation(idOf<ConversationId>(conversation));
}

void ConversationActions::copyId(const QString& conversation) const {
  QGuiApplication::clipboard()->setText(conversation);
}

void ConversationActions::unarchive(const QString& conversation) {
  InterfaceLoop::instance().spawn(DesktopWindow::instance().application().conversations().unarchiveConversation(
      idOf<ConversationId>(conversation)));
}

void ConversationActions::remove(const QString& conversation) {
  const auto listed = roster_->conversation(idOf<ConversationId>(conversation));
  if (!listed) return;
  DesktopWindow& window = DesktopWindow::instance();
  if (listed->isRunning) {
    return window.notices()->tellError(tr("%1 was not deleted: a prompt is running in it").arg(quoted(listed->title)));
  }
  const auto showAgain = leave(*listed);
  const std::weak_ptr<ConversationRoster> lists = roster_;
  const int notice = window.notices()->tell(
      tr("%1 was deleted").arg(quoted(listed->title)),
      [lists, id = listed->id, showAgain] {
        if (const auto roster = lists.lock()) roster->show(id);
        showAgain();
      },
      [lists, id = listed->id, title = listed->title] {
        InterfaceLoop::instance().spawn(deleteConversation(DesktopWindow::instance().application(), id, title, lists));
      });
  roster_->hide(listed->id, notice);
}

std::function<void()> ConversationActions::leave(const ListedConversation& conversation) {
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
  return leaveConversation(conversation.id, conversation.project, next);
}

}  // namespace ravant::desktop
