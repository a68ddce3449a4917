#include "desktop/sidebar/project_branches.hpp"

namespace ravant::desktop {

QString ProjectBranches::of(ProjectId project) const {
  const auto found = names_.find(project);
  return found == names_.end() ? QString() : found->second;
}

void ProjectBranches::follow(const std::vector<Project>& projects) {
  for (const Project& project : projects) {
    if (names_.try_emplace(project.id).second) lookAgain(project);
  }
}

awaitable<void> ProjectBranches::read(ProjectId project, std::filesystem::path folder) {
  const auto head = co_await alive(window_.application().gitStatus().headName(std::move(folder)));
  const QString name = QString::fromStdString(head.value.name);
  if (std::exchange(names_[project], name) != name) Q_EMIT changed();
}

}  // namespace ravant::desktop
