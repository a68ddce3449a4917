#include "desktop/program/notices.hpp"

#include <algorithm>
#include <chrono>
#include <ranges>

#include "desktop/program/sentence.hpp"

namespace ravant::desktop {
namespace {

constexpr std::chrono::seconds kTimeToUndo(8);

}  // namespace

int Notices::tell(const QString& text, std::function<void()> undo, std::function<void()> settle) {
  const auto same = std::ranges::find_if(notices_, [&](const Notice& notice) {
    return notice.text == text && notice.time && !notice.canUndo && !notice.settle;
  });
  if (same != notices_.end() && !undo && !settle) {
    if (!isHeld_) same->time->start();
    return same->id;
  }
  const bool canUndo = static_cast<bool>(undo);
  auto time = std::make_unique<QTimer>();
  time->setSingleShot(true);
  time->setInterval(kTimeToUndo);
  connect(time.get(), &QTimer::timeout, this, [this, id = lastId_ + 1] { dismiss(id); }, Qt::QueuedConnection);
  if (!isHeld_) time->start();
  add({.id = ++lastId_,
       .text = text,
       .isError = false,
       .canUndo = canUndo,
       .offer = {canUndo ? tr("Undo") : QString(), std::move(undo)},
       .settle = std::move(settle),
       .time = std::move(time)});
  return lastId_;
}

void Notices::setHeld(bool held) {
  if (std::exchange(isHeld_, held) == held) return;
  for (const Notice& notice : notices_) {
    if (notice.time) held ? notice.time->stop() : notice.time->start();
  }
  Q_EMIT heldChanged();
}

void Notices::tellError(const QString& text, Offer offer) {
  const auto isSame = [&](const Notice& notice) { return notice.isError && notice.text == text; };
  if (std::ranges::any_of(notices_, isSame)) return;
  add({.id = ++lastId_, .text = text, .isError = true, .canUndo = false, .offer = std::move(offer), .settle = {}});
}

void Notices::withdrawError(const QString& text) {
  const auto isSame = [&](const Notice& notice) { return notice.isError && notice.text == text; };
  if (const auto found = std::ranges::find_if(notices_, isSame); found != notices_.end()) dismiss(found->id);
}

void Notices::settleAll() {
  while (!notices_.empty()) dismiss(notices_.front().id);
}

void Notices::accept(int id) {
  const auto found = find(id);
  if (found == notices_.end()) return;
  if (const Notice notice = take(found); notice.offer.act) notice.offer.act();
}

bool Notices::undoLatest() {
  const auto found = std::ranges::find_if(notices_ | std::views::reverse, &Notice::canUndo);
  if (found == notices_.rend()) return false;
  accept(found->id);
  return true;
}

void Notices::dismiss(int id) {
  const auto found = find(id);
  if (found == notices_.end()) return;
  if (const Notice notice = take(found); notice.settle) notice.settle();
}

bool Notices::dismissError() {
  const auto found = std::ranges::find_if(notices_ | std::views::reverse, &Notice::isError);
  if (found == notices_.rend()) return false;
  dismiss(found->id);
  return true;
}

void Notices::add(Notice notice) {
  const int row = rowCount();
  beginInsertRows({}, row, row);
  notices_.push_back(std::move(notice));
  endInsertRows();
}

Notices::Notice Notices::take(std::vector<Notice>::iterator notice) {
  const auto row = static_cast<int>(notice - notices_.begin());
  beginRemoveRows({}, row, row);
  Notice taken = std::move(*notice);
  notices_.erase(notice);
  endRemoveRows();
  if (notices_.empty()) setHeld(false);
  return taken;
}

std::vector<Notices::Notice>::iterator Notices::find(int id) { return std::ranges::find(notices_, id, &Notice::id); }

int Notices::rowCount(const QModelIndex& parent) const {
  return parent.isValid() ? 0 : static_cast<int>(notices_.size());
}

QVariant Notices::data(const QModelIndex& index, int role) const {
  if (!checkIndex(index, CheckIndexOption::IndexIsValid)) return {};
  const Notice& notice = notices_.at(static_cast<std::size_t>(index.row()));
  switch (role) {
    case idRole:
      return notice.id;
    case textRole:
      return sentence(notice.text);
    case isErrorRole:
      return notice.isError;
    case offerRole:
      return notice.offer.words;
    default:
      return {};
  }
}

QHash<int, QByteArray> Notices::roleNames() const {
  return {{idRole, "noticeId"}, {textRole, "text"}, {isErrorRole, "isError"}, {offerRole, "offer"}};
}

}  // namespace ravant::desktop
