#include "desktop/window/project_presence.hpp"

namespace ravant::desktop {

ProjectPresence::ProjectPresence(DesktopWindow& window, QObject* parent) : QObject(parent), window_(window) {
  const auto readAgain = [this] { start(read()); };
  connect(&window_.changes(), &StoreChanges::everythingChanged, this, readAgain);
  connect(&window_.changes(), &StoreChanges::projectChanged, this, readAgain);
  readAgain();
}

awaitable<void> ProjectPresence::read() {
  const auto turn = turns_.take();
  const auto projects = co_await alive(window_.application().projects().projects());
  if (!turns_.isLatest(turn)) co_return;
  isKnown_ = true;
  hasProjects_ = !projects.empty();
  Q_EMIT changed();
}

}  // namespace ravant::desktop
