#pragma once

#include <QtQml/qqmlregistration.h>
#include <QObject>

#include "desktop/sidebar/conversation_roster.hpp"

namespace ravant::desktop {

/// What can be done with a project of the sidebar.
class ProjectActions : public QObject, public ViewModel {
  Q_OBJECT
  QML_ELEMENT

 public:
  ProjectActions();

  /// An empty name changes nothing.
  Q_INVOKABLE void rename(const QString& project, const QString& name);
  /// Gone from the window at once, and with its conversations from the store when it can no longer be taken back. One
  /// with a running prompt stays. The folder stays always.
  Q_INVOKABLE void remove(const QString& project);
  /// Puts it by so many places further down, or up where negative.
  Q_INVOKABLE bool canMove(const QString& project, int places) const;
  Q_INVOKABLE void move(const QString& project, int places);
  /// Puts it in front of the other one; behind all of them where that is empty.
  void moveBefore(const QString& project, const QString& other);
  Q_INVOKABLE void openFolder(const QString& project);
  Q_INVOKABLE void copyPath(const QString& project);

 private:
  std::vector<ProjectId> order() const;
  std::vector<ProjectId> orderAfter(const QString& project, int places) const;
  void store(const std::vector<ProjectId>& order);

  std::shared_ptr<ConversationRoster> roster_;
};

}  // namespace ravant::desktop
