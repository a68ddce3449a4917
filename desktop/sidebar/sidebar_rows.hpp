#pragma once

#include <QtQml/qqmlregistration.h>
#include <QAbstractListModel>
#include <vector>

#include "desktop/sidebar/conversation_roster.hpp"

namespace ravant::desktop {

/// A row of the sidebar's tree or of a list of conversations.
struct SidebarRow {
  enum class Kind : std::uint8_t { project, conversation, showAll, empty };

  Kind kind = Kind::conversation;
  ProjectId project;
  ConversationRoster::Listed conversation;  ///< null but in the row of one
  QString title;                            ///< what it shows, where it is no conversation
  QString name;                             ///< what is read aloud, likewise
  QString note;                             ///< a project's branch; the project of a conversation in a list of all
  QString group;                            ///< a day, in a list by days
  bool isOfEarlierDay = false;              ///< in such a list: the hour tells more than the age
  ConversationState state = ConversationState::quiet;
  int unread = 0;  ///< conversations of a project that is closed
  bool isOpen = false;

  bool operator==(const SidebarRow&) const = default;
};

/// Rows over the roster, which announce exactly what differs. On the interface thread.
class SidebarRows : public QAbstractListModel {
  Q_OBJECT
  QML_ELEMENT
  QML_UNCREATABLE("what the models of the sidebar have in common")
  /// Whether somebody can see it: ages go on only then.
  Q_PROPERTY(bool shown READ isShown WRITE setShown NOTIFY shownChanged)
  Q_PROPERTY(int count READ count NOTIFY countChanged)
  /// False until the first reading of the store is over.
  Q_PROPERTY(bool read READ isRead NOTIFY countChanged)

 public:
  enum Kind { Project, Conversation, ShowAll, Empty };
  Q_ENUM(Kind)
  /// As in `ConversationState`, of which a project that is closed shows the most urgent.
  enum State { Failed, Running, Interrupted, Unread, Draft, Quiet };
  Q_ENUM(State)
  enum Role {
    kindRole = Qt::UserRole,
    projectRole,
    conversationRole,
    titleRole,
    nameRole,
    noteRole,
    groupRole,
    stateRole,
    newCountRole,     ///< of items that were not looked at; empty for a conversation that is not unread
    asideRole,        ///< what stands at the right: a word of the state, an age or an hour, or a project's branch
    descriptionRole,  ///< what is read aloud behind the name
    isOpenRole,
    isArchivedRole
  };

  bool isShown() const { return isShown_; }
  void setShown(bool shown);
  int count() const { return static_cast<int>(rows_.size()); }
  bool isRead() const { return roster_->isRead(); }

  /// The row to which the key leads from the row; the same one where it leads nowhere.
  Q_INVOKABLE virtual int rowByKey(int row, int key);
  /// -1 where it is in no row.
  Q_INVOKABLE int rowOfConversation(const QString& conversation) const;

  int rowCount(const QModelIndex& parent = {}) const override;
  QVariant data(const QModelIndex& index, int role) const override;
  QHash<int, QByteArray> roleNames() const override;

 Q_SIGNALS:
  void shownChanged();
  void countChanged();

 protected:
  SidebarRows();

  /// The rows as the roster has them.
  virtual std::vector<SidebarRow> wantedRows() const = 0;
  void refresh();

  const std::shared_ptr<ConversationRoster>& roster() const { return roster_; }
  const std::vector<SidebarRow>& rows() const { return rows_; }
  const SidebarRow* rowAt(int row) const;
  Timestamp now() const { return now_; }

 private:
  void goOn();
  void apply(std::vector<SidebarRow> wanted);
  QString aside(const SidebarRow& row, Timestamp at) const;

  std::shared_ptr<ConversationRoster> roster_;
  std::vector<SidebarRow> rows_;
  Timestamp now_;  ///< by which ages are told
  bool isShown_ = false;
};

}  // namespace ravant::desktop
