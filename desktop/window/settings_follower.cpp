#include "desktop/window/settings_follower.hpp"

#include <chrono>

#include "app/known_settings.hpp"
#include "platform/files/private_file.hpp"
#include "platform/log/log.hpp"

namespace ravant::desktop {
namespace {

constexpr Log kLog("com.ravant.desktop", "SettingsFollower");

/// An editor can write a file in several steps.
constexpr std::chrono::milliseconds kUntilSettled(50);

QString textOf(const std::filesystem::path& path) { return QString::fromStdString(path.string()); }

Appearance appearanceOf(const SettingsFile& settings) {
  const std::string wanted = settings.text(setting::kAppearance);
  if (wanted == setting::kDark) return Appearance::dark;
  return wanted == setting::kLight ? Appearance::light : Appearance::system;
}

int zoomOf(const SettingsFile& settings) { return static_cast<int>(settings.integer(setting::kWindowZoom)); }

}  // namespace

void applyLooks(const SettingsFile& settings, Theme& theme) {
  theme.setAppearance(appearanceOf(settings));
  theme.setZoom(zoomOf(settings));
}

SettingsFollower::SettingsFollower(DesktopWindow& window, Theme& theme) : window_(window), theme_(theme) {
  settled_.setSingleShot(true);
  settled_.setInterval(kUntilSettled);
  connect(&settled_, &QTimer::timeout, this, &SettingsFollower::load);
  connect(&watcher_, &QFileSystemWatcher::fileChanged, &settled_, qOverload<>(&QTimer::start));
  connect(&watcher_, &QFileSystemWatcher::directoryChanged, &settled_, qOverload<>(&QTimer::start));
  watch();
  apply();
  connect(&theme_, &Theme::sizesChanged, this, [this] { ownZooms_.append(theme_.zoom()); });
}

// A file that is replaced is another one, so the folder is watched too.
void SettingsFollower::watch() {
  std::error_code unknown;
  const std::filesystem::path& file = window_.application().settings().path();
  // The first settings are to be seen, too.
  try {
    makePrivateFolder(file.parent_path());
  } catch (const std::system_error& error) {
    kLog.info("settings written later are not seen: {}", error.what());
  }
  for (const std::filesystem::path& path : {file, std::filesystem::canonical(file, unknown), file.parent_path()}) {
    if (std::filesystem::exists(path, unknown) && !watcher_.files().contains(textOf(path)) &&
        !watcher_.directories().contains(textOf(path))) {
      watcher_.addPath(textOf(path));
    }
  }
}

void SettingsFollower::load() {
  watch();
  try {
    window_.application().settings().load();
  } catch (const SettingsError& error) {
    return tellFaults({QString::fromUtf8(error.what())});
  }
  apply();
}

void SettingsFollower::tellFaults(const QStringList& faults) {
  const QStringList before = std::exchange(faults_, faults);
  for (const QString& fault : before) {
    if (!faults.contains(fault)) window_.notices()->withdrawError(fault);
  }
  for (const QString& fault : faults) {
    if (!before.contains(fault)) window_.notices()->tellError(fault);
  }
}

void SettingsFollower::apply() {
  const SettingsFile& settings = window_.application().settings();
  theme_.setAppearance(appearanceOf(settings));
  // The window's own zoom is written late: what comes back of one that was left again is nobody's wish.
  const int zoom = zoomOf(settings);
  if (zoom != fileZoom_ && !ownZooms_.contains(zoom)) theme_.setZoom(zoom);
  if (zoom == theme_.zoom()) ownZooms_.clear();
  fileZoom_ = zoom;
  window_.loadKeybindings();
  QStringList faults;
  for (const KeybindingFault& fault : window_.keybindings().faults()) {
    faults.append(
        QString::fromStdString(fmt::format("{}, line {}: {}", settings.path().string(), fault.line, fault.words)));
  }
  tellFaults(faults);
  Q_EMIT window_.settingsChanged();
}

}  // namespace ravant::desktop
