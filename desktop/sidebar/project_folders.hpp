#pragma once

#include <QtQml/qqmlregistration.h>
#include <QList>
#include <QObject>
#include <QUrl>
#include <filesystem>

#include "desktop/loop/view_model.hpp"

namespace ravant::desktop {

/// Makes projects of folders that the user chose or dropped.
class ProjectFolders : public QObject, public ViewModel {
  Q_OBJECT
  QML_ELEMENT

 public:
  /// Adds each and shows the page for a new conversation in the last one. A folder that is a project already is shown
  /// likewise; what becomes none is told with the reason.
  Q_INVOKABLE void add(const QList<QUrl>& folders);
  Q_INVOKABLE void addOne(const QUrl& folder) { add({folder}); }

 private:
  awaitable<void> addAll(QList<QUrl> folders);
};

}  // namespace ravant::desktop
