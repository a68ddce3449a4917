#pragma once

#include <QtQml/qqmlregistration.h>
#include <QObject>

#include "desktop/sidebar/conversation_roster.hpp"

namespace ravant::desktop {

/// What can be done with a conversation from a list. Nothing is asked: what is archived or deleted can be taken back
/// for a while.
class ConversationActions : public QObject, public ViewModel {
  Q_OBJECT
  QML_ELEMENT

 public:
  ConversationActions();

  /// An empty title is forgotten: the first prompt stands for it.
  Q_INVOKABLE void rename(const QString& conversation, const QString& title);
  Q_INVOKABLE void archive(const QString& conversation);
  /// Onto the clipboard.
  Q_INVOKABLE void copyId(const QString& conversation) const;
  Q_INVOKABLE void unarchive(const QString& conversation);
  /// Gone from every list at once, and from the store when it can no longer be taken back. One with a running prompt
  /// stays.
  Q_INVOKABLE void remove(const QString& conversation);

 private:
  /// Shows the nearest one of its project instead, where it is shown. Returns how to show it again.
  std::function<void()> leave(const ListedConversation& conversation);

  std::shared_ptr<ConversationRoster> roster_;
};

}  // namespace ravant::desktop
