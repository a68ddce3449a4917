#pragma once

#include "desktop/sidebar/sidebar_rows.hpp"

namespace ravant::desktop {

/// The conversations of the content column, latest activity first: those of a project, or of all of them by days.
class ConversationList : public ravant::desktop::SidebarRows {
  Q_OBJECT
  QML_ELEMENT
  /// Empty for all projects.
  Q_PROPERTY(QString project READ project WRITE setProject NOTIFY queryChanged)
  /// Only those that are archived, instead of those that are not.
  Q_PROPERTY(bool archived READ isArchived WRITE setArchived NOTIFY queryChanged)
  Q_PROPERTY(QString title READ title NOTIFY titleChanged)
  /// Empty for all projects.
  Q_PROPERTY(QString projectName READ projectName NOTIFY titleChanged)

 public:
  ConversationList();

  QString project() const { return project_; }
  void setProject(const QString& project);
  bool isArchived() const { return archived_; }
  void setArchived(bool archived);
  QString title() const;
  QString projectName() const;

  /// Goes from those that are archived to those that are not and back; where the list is not seen, to all that are
  /// archived.
  Q_INVOKABLE void turnArchived(bool isSeen);
  Q_INVOKABLE void open(int row);

 Q_SIGNALS:
  void queryChanged();
  void titleChanged();

 private:
  std::vector<SidebarRow> wantedRows() const override;

  QString project_;
  bool archived_ = false;
};

}  // namespace ravant::desktop
