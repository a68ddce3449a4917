#include "desktop/conversation/transcript_view.hpp"

#include <algorithm>
#include <cmath>

#include "desktop/theme/theme.hpp"

namespace ravant::desktop {

void TranscriptView::setList(QQuickItem* list) {
  if (std::exchange(list_, list) == list) return;
  connect(list, SIGNAL(contentYChanged()), this, SLOT(listMoved()));
  connect(list, SIGNAL(contentHeightChanged()), this, SLOT(listResized()));
  connect(list, SIGNAL(heightChanged()), this, SLOT(listResized()));
  connect(list, SIGNAL(movementEnded()), this, SLOT(lookForEnd()));
  Q_EMIT listChanged();
}

void TranscriptView::setRows(TranscriptWindow* rows) {
  if (std::exchange(rows_, rows) == rows) return;
  connect(rows, &TranscriptWindow::modelAboutToBeReset, this, [this] { setReplacing(true); });
  connect(rows, &TranscriptWindow::modelReset, this, [this] { later(&TranscriptView::settle); });
  connect(rows, &TranscriptWindow::jumped, this, &TranscriptView::arrive);
  connect(rows, &TranscriptWindow::returned, this, &TranscriptView::comeBack);
  Q_EMIT rowsChanged();
}

void TranscriptView::setFollows(bool follows) {
  if (std::exchange(follows_, follows) == follows) return;
  later(&TranscriptView::look);
  Q_EMIT followsChanged();
}

void TranscriptView::setReplacing(bool isReplacing) {
  if (std::exchange(isReplacing_, isReplacing) != isReplacing) Q_EMIT isReplacingChanged();
}

int TranscriptView::currentRow() const {
  return currentIndex() >= 0 ? currentIndex() : rowAt(number("contentY") + list_->height() / 2);
}

double TranscriptView::menuPlace(int row) const {
  const double unit = Theme::instance().unit();
  const QQuickItem* const item = itemOf(row);
  const double below = (item ? item->y() : 0) - number("contentY") + unit * 6;
  return std::max(unit * 2, std::min(list_->height() - unit * 10, below));
}

void TranscriptView::toEnd() {
  setFollows(true);
  rows_->jumpToEnd();
}

void TranscriptView::fold(int row, bool isOpen) {
  const bool followed = follows_;
  setFollows(false);
  scrollTo(std::round(number("contentY")));
  const QQuickItem* const item = itemOf(row);
  opened_ = isOpen && item ? std::optional(Opened{row, count(), item->height()}) : std::nullopt;
  setFollows(!rows_->setOpen(row, isOpen) && followed);
}

void TranscriptView::showOpened() {
  if (!opened_) return;
  const QQuickItem* const item = itemOf(opened_->row);
  const int last = std::min(opened_->row + std::max(0, count() - opened_->count), count() - 1);
  if (item && last == opened_->row && item->height() == opened_->height) return;
  if (item) {
    last == count() - 1 ? positionAtEnd() : position(last, Position::contain);
    position(opened_->row, Position::contain);
    lookForEnd();
  }
  opened_.reset();
}

void TranscriptView::showMore(int row) {
  setFollows(false);
  rows_->showMore(row);
}

void TranscriptView::point(int row) {
  setCurrentIndex(rows_->stopOf(row));
  list_->forceActiveFocus();
}

void TranscriptView::takeKeyboard() {
  if (list_ && list_->hasActiveFocus() && currentIndex() < 0) setCurrentIndex(rows_->stopOf(count() - 1));
}

void TranscriptView::step(int direction, bool selects) {
  const int from = currentIndex();
  setCurrentIndex(rows_->nextStop(from, direction));
  position(currentIndex(), Position::contain);
  selects ? rows_->select(from, currentIndex()) : rows_->clearSelection();
  lookForEnd();
}

void TranscriptView::page(int direction) {
  scrollTo(number("contentY") + direction * (list_->height() - Theme::instance().unit() * 12));
  lookForEnd();
}

void TranscriptView::scrollSideways(int direction) {
  const int stop = currentIndex();
  for (int row = stop; row >= 0 && row < count() && rows_->stopOf(row) == stop; ++row) {
    if (QQuickItem* const item = itemOf(row)) {
      QMetaObject::invokeMethod(item, "sidewaysRequested", Q_ARG(int, direction));
    }
  }
}

bool TranscriptView::press(int key) {
  switch (key) {
    case Qt::Key_PageUp:
      page(-1);
      return true;
    case Qt::Key_PageDown:
    case Qt::Key_Space:
      page(1);
      return true;
    case Qt::Key_Home:
      setFollows(false);
      rows_->jumpToPlace(0);
      return true;
    case Qt::Key_End:
      toEnd();
      return true;
    default:
      return false;
  }
}

void TranscriptView::leaveEnd(int row) {
  setFollows(false);
  setCurrentIndex(rows_->stopOf(row));
}

void TranscriptView::enter(int row) {
  if (isReplacing_) row < 0 ? positionAtEnd() : position(row, Position::beginning);
  settle();
}

void TranscriptView::arrive(int row) {
  enter(row);
  setFollows(row < 0);
  setCurrentIndex(row < 0 ? -1 : rows_->stopOf(row));
  row < 0 ? positionAtEnd() : position(row, Position::center);
  if (row < 0) takeKeyboard();
  later(&TranscriptView::look);
}

void TranscriptView::comeBack(int row, double above) {
  setFollows(false);
  enter(row);
  setCurrentIndex(rows_->stopOf(row));
  position(row, Position::beginning);
  scrollTo(number("contentY") + above);
  later(&TranscriptView::lookForEnd);
  later(&TranscriptView::look);
}

void TranscriptView::lookForEnd() { setFollows(list_->property("atYEnd").toBool() && rows_->isAtEnd()); }

void TranscriptView::keepEnd() { follows_ ? positionAtEnd() : lookForEnd(); }

void TranscriptView::look() {
  const double top = number("contentY");
  const double height = std::max(1.0, list_->height());
  const double bottom = top + list_->height();
  const int first = rowAt(top);
  if (first < 0) return;
  // Below the last row there is room.
  const int seen = rowAt(bottom - 1);
  const int last = seen < 0 ? count() - 1 : seen;
  const QQuickItem* const upper = itemOf(first);
  const QQuickItem* const lower = itemOf(last);
  const double hidden = upper ? top - upper->y() : 0;
  const double behind = lower ? lower->y() + lower->height() - bottom : 0;
  rows_->showing({.first = first,
                  .last = last,
                  .above = (top - number("originY")) / height,
                  .below = (lowest() - top) / height,
                  .cutAbove = upper ? hidden / std::max(1.0, upper->height()) : 0,
                  .cutBelow = lower ? std::max(0.0, behind) / std::max(1.0, lower->height()) : 0});
  rows_->keepPlace(follows_ ? -1 : first, hidden);
}

void TranscriptView::listMoved() {
  if (list_->property("moving").toBool()) {
    opened_.reset();
    lookForEnd();
  }
  later(&TranscriptView::look);
}

void TranscriptView::listResized() {
  later(&TranscriptView::keepEnd);
  later(&TranscriptView::showOpened);
  later(&TranscriptView::look);
}

void TranscriptView::later(Step step) {
  if (later_.empty()) QMetaObject::invokeMethod(this, &TranscriptView::doLater, Qt::QueuedConnection);
  std::erase(later_, step);
  later_.push_back(step);
}

void TranscriptView::doLater() {
  for (const Step step : std::exchange(later_, {})) (this->*step)();
}

void TranscriptView::scrollTo(double y) {
  list_->setProperty("contentY", std::max(number("originY"), std::min(lowest(), y)));
}

int TranscriptView::rowAt(double y) const {
  int row = -1;
  QMetaObject::invokeMethod(list_, "indexAt", Q_RETURN_ARG(int, row), Q_ARG(qreal, list_->width() / 2),
                            Q_ARG(qreal, y));
  return row;
}

QQuickItem* TranscriptView::itemOf(int row) const {
  QQuickItem* item = nullptr;
  QMetaObject::invokeMethod(list_, "itemAtIndex", Q_RETURN_ARG(QQuickItem*, item), Q_ARG(int, row));
  return item;
}

void TranscriptView::position(int row, Position where) {
  QMetaObject::invokeMethod(list_, "positionViewAtIndex", Q_ARG(int, row), Q_ARG(int, static_cast<int>(where)));
}

void TranscriptView::positionAtEnd() { QMetaObject::invokeMethod(list_, "positionViewAtEnd"); }

}  // namespace ravant::desktop
