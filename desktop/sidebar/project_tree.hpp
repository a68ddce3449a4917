#pragma once

#include <set>

#include "desktop/sidebar/conversation_actions.hpp"
#include "desktop/sidebar/project_actions.hpp"
#include "desktop/sidebar/project_branches.hpp"
#include "desktop/sidebar/sidebar_rows.hpp"

namespace ravant::desktop {

/// The sidebar's tree: the projects in their order, and under open ones their conversations, latest activity first.
/// Those beyond the newest eight are shown on demand.
class ProjectTree : public ravant::desktop::SidebarRows {
  Q_OBJECT
  QML_ELEMENT
  /// Says how many prompts run, in this process and others; empty where none does.
  Q_PROPERTY(QString running READ running NOTIFY runningChanged)
  Q_PROPERTY(bool hasProjects READ hasProjects NOTIFY runningChanged)

 public:
  ProjectTree();

  QString running() const;
  bool hasProjects() const { return !roster()->projects().empty(); }

  /// Opens what the row stands for: the list of a project, a conversation, the rest of a project's conversations.
  Q_INVOKABLE void open(int row);
  Q_INVOKABLE void setOpen(int row, bool isOpen);
  /// Left and Right fold and unfold too.
  Q_INVOKABLE int rowByKey(int row, int key) override;
  Q_INVOKABLE void rename(int row, const QString& words);
  /// Removes the project or deletes the conversation, which can be taken back. Returns the row where the keyboard goes
  /// on: behind a conversation, one of the same project.
  Q_INVOKABLE int remove(int row);
  int rowOfProject(const QString& project) const;
  /// The row in front of which a project would come that is let go over this row; behind all where there is none.
  Q_INVOKABLE int dropRow(int row) const;
  Q_INVOKABLE void moveProject(const QString& project, int dropRow);
  /// The row of what the window shows, as far as it is in a row: the conversation, else the project.
  Q_INVOKABLE int rowOfShown() const;
  /// Opens the conversation above (-1) or below (1) the one that is shown.
  Q_INVOKABLE void openNeighbour(int step);
  /// The row of the conversation, whose project is opened where it hides it; -1 for an unknown one.
  Q_INVOKABLE int reveal(const QString& conversation);

 Q_SIGNALS:
  void runningChanged();

 private:
  std::vector<SidebarRow> wantedRows() const override;
  void openConversation(const ListedConversation& conversation);
  /// The row of the project that the row belongs to.
  int parentOf(int row) const;

  ProjectActions projectActions_;
  ConversationActions conversationActions_;
  ProjectBranches branches_;
  std::set<ProjectId> showsAll_;
};

}  // namespace ravant::desktop
