#include "desktop/window/project_presence.hpp"

namespace ravant::desktop {

ProjectPresence::ProjectPresence(DesktopWindow& window, QObject* parent) : QObject(parent), window_(window) {
  const auto readAgain = [this] { rereading_.soon(); };
  connect(&window_.changes(), &StoreChanges::everythingChanged, this, readAgain);
  connect(&window_.changes(), &StoreChanges::projectChanged, this, readAgain);
  connect(&window_.changes(), &StoreChanges::agentsChanged, this, readAgain);
  connect(&agents_, &AgentTroubles::changed, this, &ProjectPresence::changed);
  rereading_.now();
}

awaitable<void> ProjectPresence::read() {
  Application& application = window_.application();
  const auto projects = co_await alive(application.projects().projects());
  isKnown_ = true;
  hasProjects_ = !projects.empty();
  if (hasProjects_) {
    agents_.follow({});
  } else {
    agents_.follow(AgentTroubles::Subject{.agents = co_await alive(application.agents().agents())});
  }
  Q_EMIT changed();
}

}  // namespace ravant::desktop
