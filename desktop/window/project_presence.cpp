#include "desktop/window/project_presence.hpp"

namespace ravant::desktop {

ProjectPresence::ProjectPresence(DesktopWindow& window, QObject* parent) : QObject(parent), window_(window) {
  const auto readAgain = [this] { rereading_.soon(); };
  connect(&window_.changes(), &StoreChanges::everythingChanged, this, readAgain);
  connect(&window_.changes(), &StoreChanges::projectChanged, this, readAgain);
  rereading_.now();
}

awaitable<void> ProjectPresence::read() {
  const auto projects = co_await alive(window_.application().projects().projects());
  isKnown_ = true;
  hasProjects_ = !projects.empty();
  Q_EMIT changed();
}

}  // namespace ravant::desktop
