#include "desktop/window/project_presence.hpp"

#include "core/store/store_error.hpp"

namespace ravant::desktop {

ProjectPresence::ProjectPresence(DesktopWindow& window, QObject* parent) : QObject(parent), window_(window) {
  const auto readAgain = [this] { refresh(); };
  connect(&window_.changes(), &StoreChanges::everythingChanged, this, readAgain);
  connect(&window_.changes(), &StoreChanges::projectChanged, this, readAgain);
  refresh();
}

void ProjectPresence::refresh() {
  if (rereading_.want()) start(readUntilCurrent());
}

awaitable<void> ProjectPresence::readUntilCurrent() {
  while (rereading_.goOn()) {
    try {
      co_await read();
    } catch (const std::exception&) {
      if (rereading_.giveUp()) throw;
    }
  }
}

awaitable<void> ProjectPresence::read() {
  const auto projects = co_await alive(window_.application().projects().projects());
  isKnown_ = true;
  hasProjects_ = !projects.empty();
  Q_EMIT changed();
}

}  // namespace ravant::desktop
