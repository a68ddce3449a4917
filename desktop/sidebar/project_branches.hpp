#pragma once

#include <QObject>
#include <map>
#include <vector>

#include "core/project.hpp"
#include "desktop/loop/view_model.hpp"
#include "desktop/program/desktop_window.hpp"

namespace ravant::desktop {

/// What the projects' folders have checked out, each read when it is first asked about and when it is to be looked at
/// again. On the interface thread.
class ProjectBranches : public QObject, public ViewModel {
  Q_OBJECT

 public:
  explicit ProjectBranches(DesktopWindow& window) : window_(window) {}

  /// Empty where it is not known yet, or where the folder is no repository.
  QString of(ProjectId project) const;
  /// Reads those that were not read yet.
  void follow(const std::vector<Project>& projects);
  void lookAgain(const Project& project) { start(read(project.id, project.path)); }

 Q_SIGNALS:
  void changed();

 private:
  awaitable<void> read(ProjectId project, std::filesystem::path folder);

  DesktopWindow& window_;
  std::map<ProjectId, QString> names_;
};

}  // namespace ravant::desktop
