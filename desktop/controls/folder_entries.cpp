#include "desktop/controls/folder_entries.hpp"

#include <QDir>
#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <utility>

#include "desktop/text/shown_text.hpp"

namespace ravant::desktop {
namespace {

constexpr QLatin1Char kSlash('/');

/// With a slash at its end.
QString asFolder(const QString& path) { return path.endsWith(kSlash) ? path : path + kSlash; }

/// In one line.
QString shown(const QString& name) {
  return QString::fromStdString(shownText(name.toStdString())).replace(QLatin1Char('\n'), QStringLiteral("␊"));
}

}  // namespace

/// Each reading has a thread: a folder that does not answer, as that of a server that is gone, keeps it for as long,
/// and neither other folders nor the end of the program wait for that.
struct FolderEntries::Readings {
  std::mutex mutex;
  std::condition_variable ended;
  FolderEntries* entries;  ///< null once nobody waits for an answer
  int running = 0;
};

FolderEntries::FolderEntries(QObject* parent) : QAbstractListModel(parent), readings_(std::make_shared<Readings>()) {
  readings_->entries = this;
  patience_.setSingleShot(true);
  patience_.setInterval(std::chrono::seconds(1));
  connect(&patience_, &QTimer::timeout, this, [this] { explain(tr("%1 does not answer yet.").arg(shown(folder_))); });
}

FolderEntries::~FolderEntries() {
  std::unique_lock lock(readings_->mutex);
  readings_->entries = nullptr;
  // Whoever is about to answer does so while the program is there.
  readings_->ended.wait_for(lock, std::chrono::milliseconds(100), [this] { return readings_->running == 0; });
}

void FolderEntries::begin(const QUrl& folder) {
  picked_.clear();
  Q_EMIT pickedChanged();
  read_.reset();
  isBeingRead_ = false;
  cameFrom_.clear();
  goTo(asFolder(folder.isLocalFile() ? folder.toLocalFile() : QDir::homePath()));
}

void FolderEntries::setPath(const QString& path) {
  if (path == path_ && read_) return;
  path_ = path;
  show(absolute(path));
}

void FolderEntries::goTo(const QString& folder) {
  path_ = folder;
  show(folder);
}

/// What was typed as the path that it stands for: from home on where it does not say from where. A path that was typed
/// or pasted behind that of a folder, with its slash, begins anew.
QString FolderEntries::absolute(const QString& text) const {
  const QString present = asFolder(folder_);
  const qsizetype from = text.startsWith(present) ? present.size() - 1 : 0;
  const qsizetype anew = std::max(text.lastIndexOf(QLatin1String("//")), text.lastIndexOf(QLatin1String("/~/")));
  const QString typed = anew < from ? text : text.mid(anew + 1);
  if (typed.startsWith(kSlash)) return typed;
  const QString rest = typed.startsWith(QLatin1String("~/")) ? typed.mid(2)
                       : typed == QLatin1String("~")         ? QString()
                                                             : typed;
  return asFolder(QDir::homePath()) + rest;
}

void FolderEntries::show(const QString& whole) {
  isTaken_ = false;
  Q_EMIT pathChanged();
  const qsizetype slash = whole.lastIndexOf(kSlash);
  const QString folder = QDir::cleanPath(whole.left(slash + 1));
  beginning_ = whole.mid(slash + 1);
  if (folder == folder_ && isBeingRead_) return;
  if (folder != folder_ || !read_ || !read_->trouble.isEmpty()) {
    folder_ = folder;
    read();
  } else {
    narrow({});
  }
}

FolderEntries::Reading FolderEntries::readFolder(const QString& folder, Wanted wanted) {
  const QFileInfo info(folder);
  const QString name = shown(folder);
  if (!info.exists()) return {.entries = {}, .trouble = tr("There is no folder %1.").arg(name)};
  if (!info.isDir()) return {.entries = {}, .trouble = tr("%1 is not a folder.").arg(name)};
  if (!info.isReadable()) return {.entries = {}, .trouble = tr("%1 cannot be read: permission denied.").arg(name)};
  QDir::Filters filters = QDir::Dirs | QDir::NoDotAndDotDot | QDir::Hidden;
  if (wanted != Folders) filters |= QDir::Files;
  Reading reading;
  for (const QFileInfo& found :
       QDir(folder).entryInfoList(filters, QDir::Name | QDir::DirsFirst | QDir::IgnoreCase | QDir::LocaleAware)) {
    if (!found.isDir() && wanted == Programs && !found.isExecutable()) continue;
    reading.entries.push_back({.name = found.fileName(), .kind = found.isDir() ? Kind::folder : Kind::file});
  }
  return reading;
}

void FolderEntries::read() {
  read_.reset();
  isBeingRead_ = true;
  narrow({});
  patience_.start();
  {
    const std::lock_guard lock(readings_->mutex);
    ++readings_->running;
  }
  std::thread([readings = readings_, folder = folder_, wanted = wanted_, number = ++latest_] {
    Reading reading = readFolder(folder, wanted);
    const std::lock_guard lock(readings->mutex);
    if (FolderEntries* const entries = readings->entries) {
      const auto answer = [entries, number, reading = std::move(reading)]() mutable {
        if (entries->latest_ == number) entries->takeAnswer(std::move(reading));
      };
      QMetaObject::invokeMethod(entries, answer, Qt::QueuedConnection);
    }
    --readings->running;
    readings->ended.notify_all();
  }).detach();
}

void FolderEntries::takeAnswer(Reading reading) {
  patience_.stop();
  isBeingRead_ = false;
  read_ = std::move(reading);
  narrow(std::exchange(cameFrom_, {}));
  if (std::exchange(isTaken_, false)) take();
}

void FolderEntries::narrow(const QString& wantedName) {
  std::vector<Entry> rows;
  QString words;
  if (read_) {
    const bool canBeShown = read_->trouble.isEmpty();
    if (canBeShown && wanted_ == Folders && beginning_.isEmpty()) {
      rows.push_back({.name = QDir(folder_).dirName(), .kind = Kind::shownFolder});
    }
    std::vector<Entry> inside;
    for (const Entry& entry : read_->entries) {
      if (entry.name.startsWith(QLatin1Char('.')) != beginning_.startsWith(QLatin1Char('.'))) continue;
      if (entry.name.startsWith(beginning_, Qt::CaseInsensitive)) {
        rows.push_back(entry);
      } else if (entry.name.contains(beginning_, Qt::CaseInsensitive)) {
        inside.push_back(entry);
      }
    }
    rows.insert(rows.end(), inside.begin(), inside.end());
    const auto exact = std::ranges::find(rows, beginning_, &Entry::name);
    if (exact != rows.end()) std::rotate(rows.begin(), exact, exact + 1);
    if (!canBeShown) {
      words = read_->trouble;
    } else if (rows.empty()) {
      words = beginning_.isEmpty() ? tr("Nothing is in this folder.")
                                   : tr("Nothing in this folder is called “%1”.").arg(shown(beginning_));
    }
  }
  beginResetModel();
  rows_ = std::move(rows);
  endResetModel();
  explain(words);
  const auto found = std::ranges::find(rows_, wantedName, &Entry::name);
  setCurrent(wantedName.isEmpty() || found == rows_.end() ? 0 : static_cast<int>(found - rows_.begin()));
}

void FolderEntries::explain(const QString& words) {
  if (std::exchange(emptyWords_, words) != words) Q_EMIT emptyWordsChanged();
}

void FolderEntries::take() {
  if (!read_) {
    isTaken_ = true;
    return;
  }
  takeRow(current_);
}

void FolderEntries::takeRow(int row) {
  const Entry* const entry = entryAt(row);
  if (!entry) return;
  if (entry->kind == Kind::folder) return goTo(asFolder(pathOf(*entry)));
  const QString path = pathOf(*entry);
  if (!picked_.contains(path)) picked_.append(path);
  choosePicked();
}

void FolderEntries::choose() {
  const Entry* const entry = entryAt(current_);
  if (!entry) return;
  const QString path = pathOf(*entry);
  if (wanted_ == Folders) {
    picked_ = {path};
    choosePicked();
  } else if (entry->kind == Kind::file) {
    if (picked_.removeAll(path) == 0) picked_.append(path);
    Q_EMIT pickedChanged();
    Q_EMIT dataChanged(index(current_), index(current_), {isPickedRole});
  }
}

void FolderEntries::choosePicked() {
  QList<QUrl> files;
  for (const QString& path : std::exchange(picked_, {})) files.append(QUrl::fromLocalFile(path));
  Q_EMIT pickedChanged();
  if (!files.isEmpty()) Q_EMIT chosen(files);
}

void FolderEntries::goUp() {
  const QDir present(folder_);
  if (present.isRoot()) return;
  cameFrom_ = present.dirName();
  goTo(asFolder(QDir::cleanPath(present.filePath(QStringLiteral("..")))));
}

void FolderEntries::step(int by) {
  const int count = rowCount();
  if (count > 0) setCurrent((current_ + by % count + count) % count);
}

void FolderEntries::setCurrent(int row) {
  current_ = std::clamp(row, std::min(0, rowCount() - 1), rowCount() - 1);
  Q_EMIT currentChanged();
}

QString FolderEntries::currentName() const {
  return current_ < 0 ? QString() : data(index(current_), nameRole).toString();
}

bool FolderEntries::canChoose() const {
  const Entry* const entry = entryAt(current_);
  return entry && (wanted_ == Folders || entry->kind == Kind::file);
}

QString FolderEntries::pathOf(const Entry& entry) const {
  return entry.kind == Kind::shownFolder ? folder_ : asFolder(folder_) + entry.name;
}

const FolderEntries::Entry* FolderEntries::entryAt(int row) const {
  return row < 0 || row >= rowCount() ? nullptr : &rows_[static_cast<std::size_t>(row)];
}

int FolderEntries::rowCount(const QModelIndex& parent) const {
  return parent.isValid() ? 0 : static_cast<int>(rows_.size());
}

QVariant FolderEntries::data(const QModelIndex& index, int role) const {
  if (!checkIndex(index, CheckIndexOption::IndexIsValid)) return {};
  const Entry& entry = rows_.at(static_cast<std::size_t>(index.row()));
  switch (role) {
    case nameRole:
      return entry.kind == Kind::shownFolder
                 ? tr("This folder: %1").arg(shown(entry.name.isEmpty() ? folder_ : entry.name))
                 : shown(entry.name);
    case iconRole:
      return entry.kind == Kind::shownFolder ? QStringLiteral("check")
             : entry.kind == Kind::folder    ? QStringLiteral("folder")
                                             : QStringLiteral("file");
    case isPickedRole:
      return picked_.contains(pathOf(entry));
    default:
      return {};
  }
}

QHash<int, QByteArray> FolderEntries::roleNames() const {
  return {{nameRole, "name"}, {iconRole, "iconName"}, {isPickedRole, "isPicked"}};
}

}  // namespace ravant::desktop
