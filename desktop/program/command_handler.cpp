#include "desktop/program/command_handler.hpp"

#include "desktop/program/desktop_window.hpp"

namespace ravant::desktop {

CommandHandler::CommandHandler(QObject* parent) : QObject(parent) {
  DesktopWindow::instance().addHandler(this);
  connect(this, &CommandHandler::changed, &DesktopWindow::instance(), &DesktopWindow::commandsChanged);
}

CommandHandler::~CommandHandler() {
  if (DesktopWindow* const window = DesktopWindow::present()) window->removeHandler(this);
}

bool CommandHandler::isInFocus() const {
  const auto* const part = qobject_cast<const QQuickItem*>(parent());
  return part && part->hasActiveFocus();
}

}  // namespace ravant::desktop
