#include "desktop/controls/last_input.hpp"

#include <QCoreApplication>
#include <QKeyEvent>
#include <utility>

namespace ravant::desktop {
namespace {

/// Held while the pointer works, too.
bool isModifier(const QKeyEvent& event) {
  switch (event.key()) {
    case Qt::Key_Shift:
    case Qt::Key_Control:
    case Qt::Key_Alt:
    case Qt::Key_AltGr:
    case Qt::Key_Meta:
      return true;
    default:
      return false;
  }
}

}  // namespace

LastInput::LastInput(QObject* parent) : QObject(parent) { QCoreApplication::instance()->installEventFilter(this); }

bool LastInput::eventFilter(QObject*, QEvent* event) {
  switch (event->type()) {
    case QEvent::KeyPress:
      if (!isModifier(static_cast<const QKeyEvent&>(*event))) set(true);
      break;
    case QEvent::MouseButtonPress:
    case QEvent::TouchBegin:
      set(false);
      break;
    default:
      break;
  }
  return false;
}

void LastInput::set(bool byKeys) {
  if (std::exchange(isByKeys_, byKeys) != byKeys) Q_EMIT byKeysChanged();
}

}  // namespace ravant::desktop
