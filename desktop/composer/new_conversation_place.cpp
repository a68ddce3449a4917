#include "desktop/composer/new_conversation_place.hpp"

#include <algorithm>

namespace ravant::desktop {

NewConversationPlace::NewConversationPlace(QObject* parent) : QObject(parent), window_(DesktopWindow::instance()) {
  StoreChanges& changes = window_.changes();
  connect(&window_, &DesktopWindow::selectionChanged, this, [this] {
    if (window_.newConversationProject() != textOf(project_.id)) rereading_.now();
  });
  connect(&changes, &StoreChanges::everythingChanged, this, [this] { rereading_.soon(); });
  connect(&changes, &StoreChanges::projectChanged, this, [this](ProjectId project) {
    if (project == project_.id) rereading_.soon();
  });
  rereading_.now();
}

awaitable<void> NewConversationPlace::read() {
  if (window_.newConversationProject().isEmpty()) co_return;
  const std::vector<Project> projects = co_await alive(window_.application().projects().projects());
  const auto project = std::ranges::find(projects, idOf<ProjectId>(window_.newConversationProject()), &Project::id);
  if (project == projects.end() || *project == project_) co_return;
  project_ = *project;
  Q_EMIT changed();
}

}  // namespace ravant::desktop
