#include "desktop/conversation/selection_copy.hpp"

#include <QGuiApplication>
#include <QKeyEvent>

namespace ravant::desktop {

void SelectionCopy::setSelected(bool isSelected) {
  if (std::exchange(isSelected_, isSelected) == isSelected) return;
  if (isSelected && area_ && area_->window() != window_) {
    if (window_) window_->removeEventFilter(this);
    window_ = area_->window();
    if (window_) window_->installEventFilter(this);
  }
  before_ = fieldSelection();
  Q_EMIT isSelectedChanged();
}

bool SelectionCopy::eventFilter(QObject* watched, QEvent* event) {
  const bool isCopy = event->type() == QEvent::KeyPress && static_cast<QKeyEvent*>(event)->matches(QKeySequence::Copy);
  if (!isCopy || !isSelected_ || !area_ || !area_->isVisible()) return QObject::eventFilter(watched, event);
  const FieldSelection now = fieldSelection();
  if (now.begin != now.end && !(now == before_)) return false;
  Q_EMIT copied();
  return true;
}

SelectionCopy::FieldSelection SelectionCopy::fieldSelection() {
  QObject* const field = QGuiApplication::focusObject();
  if (!field) return {};
  return {field, field->property("selectionStart").toInt(), field->property("selectionEnd").toInt()};
}

}  // namespace ravant::desktop
