#include "desktop/window/window_title.hpp"

#include "core/conversation_state.hpp"

namespace ravant::desktop {

WindowTitle::WindowTitle(DesktopWindow& window, QObject* parent) : QObject(parent), window_(window) {
  const auto readAgain = [this] { rereading_.soon(); };
  connect(&window_, &DesktopWindow::selectionChanged, this, [this] { rereading_.now(); });
  connect(&window_.changes(), &StoreChanges::everythingChanged, this, readAgain);
  connect(&window_.changes(), &StoreChanges::conversationChanged, this, [this, readAgain](ConversationId changed) {
    if (window_.shownConversation() == changed) readAgain();
  });
  rereading_.now();
}

awaitable<void> WindowTitle::read() {
  const auto shown = window_.shownConversation();
  const auto summary =
      shown ? co_await alive(window_.application().conversations().conversation(*shown)) : std::nullopt;
  if (shown != window_.shownConversation()) co_return;  // it is read anew
  const QString name = QStringLiteral("Ravant");
  show(summary ? tr("%1 — %2").arg(QString::fromStdString(displayTitle(*summary)), name) : name);
}

void WindowTitle::show(const QString& text) {
  if (std::exchange(text_, text) != text) Q_EMIT changed();
}

}  // namespace ravant::desktop
