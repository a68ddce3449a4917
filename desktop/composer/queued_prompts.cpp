#include "desktop/composer/queued_prompts.hpp"

#include <algorithm>

namespace ravant::desktop {
namespace {

constexpr int kShownCharacters = 400;

awaitable<void> reorder(std::shared_ptr<PromptSender> sender, ConversationId conversation,
                        std::vector<QueuedPromptId> order) {
  co_await sender->prompts().reorder(conversation, std::move(order));
}

/// The prompt where it stood: behind those that were in front of it.
awaitable<void> putBack(std::shared_ptr<PromptSender> sender, QueuedPrompt prompt, std::vector<QueuedPromptId> before) {
  const auto added = co_await sender->prompts().add(prompt.conversation, prompt.text);
  if (!added) co_return;
  before.push_back(*added);
  co_await sender->prompts().reorder(prompt.conversation, std::move(before));
}

}  // namespace

QueuedPrompts::QueuedPrompts(std::shared_ptr<PromptSender> sender, StoreChanges& changes, Notices& notices)
    : sender_(std::move(sender)), notices_(notices) {
  connect(&changes, &StoreChanges::queueChanged, this, [this](ConversationId conversation) {
    if (conversation == conversation_) rereading_.soon();
  });
  connect(&changes, &StoreChanges::everythingChanged, this, [this] { rereading_.soon(); });
}

void QueuedPrompts::open(std::optional<ConversationId> conversation) {
  conversation_ = conversation;
  show({});
  rereading_.now();
}

void QueuedPrompts::edit(int row) {
  if (row >= 0 && row < count()) sender_->takeFromQueue(*conversation_, prompts_[static_cast<std::size_t>(row)].id);
}

void QueuedPrompts::move(int row, int by) {
  const int to = row + by;
  if (row < 0 || row >= count() || to < 0 || to >= count()) return;
  std::vector<QueuedPromptId> order = ids();
  std::swap(order[static_cast<std::size_t>(row)], order[static_cast<std::size_t>(to)]);
  InterfaceLoop::instance().spawn(reorder(sender_, *conversation_, std::move(order)));
}

void QueuedPrompts::sendNow(int row) {
  if (row >= 0 && row < count()) sender_->sendFromQueue(*conversation_, prompts_[static_cast<std::size_t>(row)].id);
}

void QueuedPrompts::remove(int row) {
  if (row >= 0 && row < count()) start(removeWithUndo(prompts_[static_cast<std::size_t>(row)].id));
}

awaitable<void> QueuedPrompts::read() {
  if (!conversation_) co_return;
  const ConversationId conversation = *conversation_;
  auto prompts = co_await alive(sender_->prompts().prompts(conversation));
  if (conversation == conversation_) show(std::move(prompts));
}

awaitable<void> QueuedPrompts::removeWithUndo(QueuedPromptId id) {
  std::vector<QueuedPromptId> before = ids();
  before.erase(std::ranges::find(before, id), before.end());
  const auto removed = co_await alive(sender_->prompts().remove(id));
  if (!removed) co_return;
  notices_.tell(tr("Removed from the queue"), [sender = sender_, removed = *removed, before] {
    InterfaceLoop::instance().spawn(putBack(sender, removed, before));
  });
}

void QueuedPrompts::show(std::vector<QueuedPrompt> prompts) {
  if (prompts == prompts_) return;
  if (prompts.size() == prompts_.size()) {
    prompts_ = std::move(prompts);
    Q_EMIT dataChanged(index(0), index(count() - 1));
    return;
  }
  const int fewer = static_cast<int>(std::min(prompts.size(), prompts_.size()));
  const int first = static_cast<int>(std::ranges::mismatch(prompts_, prompts).in1 - prompts_.begin());
  int same = 0;
  while (same < fewer - first && *(prompts_.rbegin() + same) == *(prompts.rbegin() + same)) ++same;
  const int lastOld = count() - same - 1;
  const int lastNew = static_cast<int>(prompts.size()) - same - 1;
  if (lastOld >= first) {
    beginRemoveRows({}, first, lastOld);
    prompts_.erase(prompts_.begin() + first, prompts_.begin() + lastOld + 1);
    endRemoveRows();
  }
  if (lastNew >= first) {
    beginInsertRows({}, first, lastNew);
    prompts_ = std::move(prompts);
    endInsertRows();
  }
  if (count() > 0) Q_EMIT dataChanged(index(0), index(count() - 1), {IsFirstRole, IsLastRole});
  Q_EMIT countChanged();
}

std::vector<QueuedPromptId> QueuedPrompts::ids() const {
  std::vector<QueuedPromptId> ids;
  for (const QueuedPrompt& prompt : prompts_) ids.push_back(prompt.id);
  return ids;
}

int QueuedPrompts::rowCount(const QModelIndex& parent) const { return parent.isValid() ? 0 : count(); }

QVariant QueuedPrompts::data(const QModelIndex& index, int role) const {
  if (index.row() < 0 || index.row() >= count()) return {};
  const std::string& prompt = prompts_[static_cast<std::size_t>(index.row())].text.prompt;
  const QString text =
      QString::fromStdString(prompt.substr(0, 4 * kShownCharacters)).left(kShownCharacters).simplified();
  switch (role) {
    case TextRole:
    case Qt::DisplayRole:
      return text;
    case NameRole:
      return tr("Queued: %1").arg(text);
    case IsFirstRole:
      return index.row() == 0;
    case IsLastRole:
      return index.row() == count() - 1;
    default:
      return {};
  }
}

QHash<int, QByteArray> QueuedPrompts::roleNames() const {
  return {{TextRole, "text"}, {NameRole, "name"}, {IsFirstRole, "isFirst"}, {IsLastRole, "isLast"}};
}

}  // namespace ravant::desktop
