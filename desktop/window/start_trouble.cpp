#include "desktop/window/start_trouble.hpp"

#include <QDesktopServices>
#include <QPointer>
#include <QThreadPool>
#include <QUrl>
#include <algorithm>

#include "core/store/store_error.hpp"
#include "desktop/program/sentence.hpp"
#include "platform/settings/setting.hpp"
#include "platform/text/duration_text.hpp"

namespace ravant::desktop {
namespace {

/// Runs what blocks elsewhere, and `then` with its result on the interface thread.
template <class Work, class Then>
void elsewhere(Work work, Then then) {
  QThreadPool::globalInstance()->start([work = std::move(work), then = std::move(then)]() mutable {
    QMetaObject::invokeMethod(QCoreApplication::instance(),
                              [result = work(), then = std::move(then)]() mutable { then(std::move(result)); });
  });
}

std::optional<StoreBackup> latestVerified(const std::vector<StoreBackup>& backups) {
  const auto found = std::ranges::find_if(backups, [](const StoreBackup& backup) { return !backup.fault; });
  return found == backups.end() ? std::nullopt : std::optional(*found);
}

/// Whether another file in the store's place would help.
bool isOfItsContent(const StoreError& error) {
  using enum StoreError::Case;
  return error.kind() == notAStore || error.kind() == damaged || error.kind() == notUpgraded;
}

QString reasonOf(const Locations& locations, const std::exception& error) {
  std::error_code unknown;
  const std::filesystem::path& folder = locations.dataFolder;
  const bool isNoFolder = std::filesystem::exists(folder, unknown) && !std::filesystem::is_directory(folder, unknown);
  if (!isNoFolder) return sentence(QString::fromUtf8(error.what()));
  return StartTrouble::tr("The data folder %1 is a file, not a folder.").arg(QString::fromStdString(folder.string()));
}

}  // namespace

StartTrouble::StartTrouble(Locations locations, const std::exception& error)
    : locations_(std::move(locations)),
      place_(dynamic_cast<const SettingsError*>(&error) ? locations_.settingsFile : locations_.dataFolder),
      hasFolder_(std::filesystem::is_directory(place_) || std::filesystem::is_directory(locations_.dataFolder)),
      reason_(reasonOf(locations_, error)) {
  const auto* const refused = dynamic_cast<const StoreError*>(&error);
  if (refused && isOfItsContent(*refused)) lookForBackups();
}

QString StartTrouble::place() const {
  const QString place = QString::fromStdString(place_.string());
  return reason_.contains(place) ? QString() : place;
}

StartTrouble::~StartTrouble() { QThreadPool::globalInstance()->waitForDone(); }

void StartTrouble::lookForBackups() {
  elsewhere([folder = locations_.dataFolder] { return latestVerified(storeBackups(folder)); },
            [self = QPointer(this)](std::optional<StoreBackup> backup) {
              if (self) self->show(std::move(backup));
            });
}

void StartTrouble::show(std::optional<StoreBackup> backup) {
  backup_ = std::move(backup);
  backupWords_ = backup_ ? tr("The last verified backup was made %1.")
                               .arg(QString::fromStdString(ageText(backup_->madeAt, SystemClock().now())))
                         : tr("There is no backup that could be opened.");
  Q_EMIT changed();
}

void StartTrouble::restore() {
  if (!backup_ || isBusy_) return;
  isBusy_ = true;
  Q_EMIT changed();
  const auto put = [folder = locations_.dataFolder, file = backup_->file] {
    try {
      restoreFromBackup(folder, file, SystemClock().now());
      return QString();
    } catch (const std::exception& error) {
      return QString::fromUtf8(error.what());
    }
  };
  elsewhere(put, [self = QPointer(this)](const QString& fault) {
    if (!self) return;
    self->isBusy_ = false;
    if (fault.isEmpty()) return self->tryAgain();
    self->reason_ = sentence(fault);
    Q_EMIT self->changed();
  });
}

void StartTrouble::showFolder() {
  QDesktopServices::openUrl(QUrl::fromLocalFile(
      QString::fromStdString((std::filesystem::is_directory(place_) ? place_ : place_.parent_path()).string())));
}

}  // namespace ravant::desktop
