#include "desktop/program/conversation_archive.hpp"

#include <QCoreApplication>
#include <algorithm>
#include <iterator>

#include "core/conversation_state.hpp"
#include "desktop/program/desktop_window.hpp"
#include "platform/text/text.hpp"

namespace ravant::desktop {
namespace {

awaitable<void> setArchived(Application& application, ConversationId id, bool archived) {
  ConversationModelActor& conversations = application.conversations();
  co_await (archived ? conversations.archiveConversation(id) : conversations.unarchiveConversation(id));
}

awaitable<void> archive(Application& application, ConversationId id) {
  const auto summary = co_await application.conversations().conversation(id);
  if (!summary || summary->conversation.archived) co_return;
  const ProjectId project = summary->conversation.project;
  auto beside = co_await application.conversations().conversations({.project = project, .limit = {}});
  if (DesktopWindow* const window = DesktopWindow::present()) {
    std::erase_if(beside, [&](const auto& other) {
      return window->leaving().has(other.conversation.id, other.conversation.project);
    });
  }
  const auto own = std::ranges::find(beside, id, [](const auto& other) { return other.conversation.id; });
  std::optional<ConversationId> next;
  if (own != beside.end() && std::next(own) != beside.end()) {
    next = std::next(own)->conversation.id;
  } else if (own != beside.end() && own != beside.begin()) {
    next = std::prev(own)->conversation.id;
  }
  co_await setArchived(application, id, true);
  DesktopWindow* const window = DesktopWindow::present();
  if (!window) co_return;
  const auto showAgain = leaveConversation(id, project, next);
  const QString title = QString::fromStdString(oneLine(displayTitle(*summary)));
  window->notices()->tell(QCoreApplication::translate("Conversations", "“%1” was archived").arg(title),
                          [&application, id, showAgain] {
                            InterfaceLoop::instance().spawn(setArchived(application, id, false));
                            showAgain();
                          });
}

}  // namespace

void archiveConversation(ConversationId conversation) {
  InterfaceLoop::instance().spawn(archive(DesktopWindow::instance().application(), conversation));
}

std::function<void()> leaveConversation(ConversationId conversation, ProjectId project,
                                        std::optional<ConversationId> next) {
  DesktopWindow& window = DesktopWindow::instance();
  const WindowState::Selection before = window.state().selection();
  const bool isShown = window.shownConversation() == conversation;
  if (isShown) {
    window.state().setSelection(before.content,
                                next ? DetailSelection(*next) : DetailSelection(NewConversation{project}));
  }
  window.state().conversationWasArchived(conversation, {});
  if (!isShown) return [] {};
  return [before, after = window.state().selection()] {
    WindowState& state = DesktopWindow::instance().state();
    if (state.selection() == after) state.setSelection(before.content, before.detail);
  };
}

}  // namespace ravant::desktop
