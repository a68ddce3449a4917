#pragma once

#include <QFileSystemWatcher>
#include <QObject>
#include <QTimer>

#include "desktop/program/desktop_window.hpp"
#include "desktop/theme/theme.hpp"

namespace ravant::desktop {

/// Has the colours and the zoom be as the settings say.
void applyLooks(const SettingsFile& settings, Theme& theme);

/// Has what the settings say of the window count as soon as their file changes, whoever changes it: colours, zoom,
/// keys. What is wrong with the file or with a key is told in the window, and everything stays as it was.
class SettingsFollower final : public QObject {
  Q_OBJECT

 public:
  /// Applies what was loaded. Both outlive this.
  SettingsFollower(DesktopWindow& window, Theme& theme);

 private:
  void watch();
  void load();
  void apply();
  /// Those that the file has now: what was told before is not told again.
  void tellFaults(const QStringList& faults);

  DesktopWindow& window_;
  Theme& theme_;
  QFileSystemWatcher watcher_;
  QTimer settled_;
  std::optional<int> fileZoom_;  ///< of the file when it was read last
  QStringList faults_;
  QList<int> ownZooms_;  ///< that the window had meanwhile
};

}  // namespace ravant::desktop
