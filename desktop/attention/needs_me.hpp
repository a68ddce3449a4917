#pragma once

#include <QtQml/qqmlregistration.h>
#include <QObject>

#include "desktop/loop/view_model.hpp"
#include "desktop/program/desktop_window.hpp"

namespace ravant::desktop {

/// The one behind the shown one, the oldest activity first and round again, of the conversations that failed or have
/// something unread; nothing where there is no other one. `conversations` come latest activity first.
const ConversationSummary* nextNeedingMe(const std::vector<ConversationSummary>& conversations,
                                         std::optional<ConversationId> shown);

/// Leads from one conversation that needs the user to the next.
class NeedsMe : public QObject, public ViewModel {
  Q_OBJECT
  QML_ELEMENT

 public:
  using QObject::QObject;

  Q_INVOKABLE void goToNext() { start(go()); }

 private:
  awaitable<void> go();
};

}  // namespace ravant::desktop
