#pragma once

#include <QtQml/qqmlregistration.h>
#include <QAbstractListModel>
#include <optional>
#include <vector>

#include "desktop/composer/prompt_sender.hpp"
#include "desktop/loop/rereading.hpp"
#include "desktop/loop/view_model.hpp"
#include "desktop/program/notices.hpp"

namespace ravant::desktop {

/// The prompts that wait in a conversation, the next one first.
class QueuedPrompts : public QAbstractListModel, public ViewModel {
  Q_OBJECT
  QML_ELEMENT
  QML_UNCREATABLE("belongs to the composer")
  Q_PROPERTY(int count READ count NOTIFY countChanged)

 public:
  enum Role { TextRole = Qt::UserRole, NameRole, IsFirstRole, IsLastRole };

  QueuedPrompts(std::shared_ptr<PromptSender> sender, StoreChanges& changes, Notices& notices);

  void open(std::optional<ConversationId> conversation);

  /// Gives the prompt to the field of its conversation.
  Q_INVOKABLE void edit(int row);
  /// By so many rows.
  Q_INVOKABLE void move(int row, int by);
  Q_INVOKABLE void sendNow(int row);
  /// Can be undone for as long as the notice stays.
  Q_INVOKABLE void remove(int row);

  int count() const { return static_cast<int>(prompts_.size()); }
  int rowCount(const QModelIndex& parent = {}) const override;
  QVariant data(const QModelIndex& index, int role) const override;
  QHash<int, QByteArray> roleNames() const override;

 Q_SIGNALS:
  void countChanged();

 private:
  awaitable<void> read();
  awaitable<void> removeWithUndo(QueuedPromptId id);
  void show(std::vector<QueuedPrompt> prompts);
  std::vector<QueuedPromptId> ids() const;

  std::shared_ptr<PromptSender> sender_;
  Notices& notices_;
  std::optional<ConversationId> conversation_;
  std::vector<QueuedPrompt> prompts_;
  Rereading rereading_{*this, [this] { return read(); }};
};

}  // namespace ravant::desktop
