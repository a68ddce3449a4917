#include "desktop/controls/folder_entries.hpp"

#include <QCoreApplication>
#include <QDir>
#include <QPointer>
#include <QThreadPool>
#include <algorithm>
#include <utility>

namespace ravant::desktop {
namespace {

constexpr QLatin1Char kSlash('/');

/// With a slash at its end.
QString asFolder(const QString& path) { return path.endsWith(kSlash) ? path : path + kSlash; }

/// What was typed as the path that it stands for: from home on where it does not say from where. A path that was typed
/// or pasted behind another one, which ends with a slash, begins anew.
QString absolute(const QString& text) {
  const qsizetype anew = std::max(text.lastIndexOf(QLatin1String("//")), text.lastIndexOf(QLatin1String("/~/")));
  const QString typed = text.mid(anew + 1);
  if (typed.startsWith(kSlash)) return typed;
  const QString rest = typed.startsWith(QLatin1String("~/")) ? typed.mid(2)
                       : typed == QLatin1String("~")         ? QString()
                                                             : typed;
  return asFolder(QDir::homePath()) + rest;
}

}  // namespace

void FolderEntries::begin(const QUrl& folder) {
  picked_.clear();
  Q_EMIT pickedChanged();
  read_.reset();
  cameFrom_.clear();
  setPath(asFolder(folder.isLocalFile() ? folder.toLocalFile() : QDir::homePath()));
}

void FolderEntries::setPath(const QString& path) {
  if (path == path_ && read_) return;
  path_ = path;
  isTaken_ = false;
  Q_EMIT pathChanged();
  const QString whole = absolute(path);
  const qsizetype slash = whole.lastIndexOf(kSlash);
  const QString folder = QDir::cleanPath(whole.left(slash + 1));
  beginning_ = whole.mid(slash + 1);
  if (folder != folder_ || !read_ || !read_->trouble.isEmpty()) {
    folder_ = folder;
    read();
  } else {
    narrow({});
  }
}

FolderEntries::Reading FolderEntries::readFolder(const QString& folder, Wanted wanted) {
  const QFileInfo info(folder);
  if (!info.exists()) return {.entries = {}, .trouble = tr("There is no folder %1.").arg(folder)};
  if (!info.isDir()) return {.entries = {}, .trouble = tr("%1 is not a folder.").arg(folder)};
  if (!info.isReadable()) return {.entries = {}, .trouble = tr("%1 cannot be read: permission denied.").arg(folder)};
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
  narrow({});
  const auto answer = [self = QPointer(this), number = ++readings_](Reading reading) {
    if (self && self->readings_ == number) self->show(std::move(reading));
  };
  QThreadPool::globalInstance()->start([folder = folder_, wanted = wanted_, answer] {
    Reading reading = readFolder(folder, wanted);
    QMetaObject::invokeMethod(
        QCoreApplication::instance(), [answer, reading = std::move(reading)]() mutable { answer(std::move(reading)); },
        Qt::QueuedConnection);
  });
}

void FolderEntries::show(Reading reading) {
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
                                   : tr("Nothing in this folder is called “%1”.").arg(beginning_);
    }
  }
  beginResetModel();
  rows_ = std::move(rows);
  endResetModel();
  if (std::exchange(emptyWords_, words) != words) Q_EMIT emptyWordsChanged();
  const auto found = std::ranges::find(rows_, wantedName, &Entry::name);
  setCurrent(wantedName.isEmpty() || found == rows_.end() ? 0 : static_cast<int>(found - rows_.begin()));
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
  if (entry->kind == Kind::folder) return setPath(asFolder(pathOf(*entry)));
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
  const QDir shown(folder_);
  if (shown.isRoot()) return;
  cameFrom_ = shown.dirName();
  setPath(asFolder(QDir::cleanPath(shown.filePath(QStringLiteral("..")))));
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
      return entry.kind == Kind::shownFolder ? tr("This folder: %1").arg(entry.name.isEmpty() ? folder_ : entry.name)
                                             : entry.name;
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
