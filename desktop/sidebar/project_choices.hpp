#pragma once

#include "desktop/sidebar/sidebar_rows.hpp"

namespace ravant::desktop {

/// The projects for a new conversation, the one that was worked in last first.
class ProjectChoices : public ravant::desktop::SidebarRows {
  Q_OBJECT
  QML_ELEMENT
  /// Words, all of which the projects that are left have in their name or path.
  Q_PROPERTY(QString query READ query WRITE setQuery NOTIFY queryChanged)

 public:
  ProjectChoices() { refresh(); }

  const QString& query() const { return query_; }
  void setQuery(const QString& query);

  /// Has the user choose, where there is a choice: the only project is taken at once, and the first one is added.
  Q_INVOKABLE void ask();
  Q_INVOKABLE void choose(int row);

 Q_SIGNALS:
  void queryChanged();
  void asked();

 private:
  std::vector<SidebarRow> wantedRows() const override;

  QString query_;
};

}  // namespace ravant::desktop
