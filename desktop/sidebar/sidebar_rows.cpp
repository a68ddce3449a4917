#include "desktop/sidebar/sidebar_rows.hpp"

#include <QDateTime>
#include <QLocale>
#include <algorithm>
#include <tuple>

#include "desktop/sidebar/row_steps.hpp"
#include "platform/text/duration_text.hpp"

namespace ravant::desktop {

static_assert(static_cast<int>(ConversationState::failed) == SidebarRows::Failed);
static_assert(static_cast<int>(ConversationState::quiet) == SidebarRows::Quiet);

namespace {

using RowKey = std::tuple<SidebarRow::Kind, ProjectId, ConversationId>;

RowKey keyOf(const SidebarRow& row) {
  return {row.kind, row.project, row.conversation ? row.conversation->id : ConversationId()};
}

QString wordOf(ConversationState state) {
  return state == ConversationState::quiet
             ? QString()
             : QString::fromUtf8(rawValue(state).data(), static_cast<qsizetype>(rawValue(state).size()));
}

QString nameOf(const SidebarRow& row) {
  const QString name = row.conversation ? row.conversation->title : row.name;
  return row.state == ConversationState::quiet ? name : name + QStringLiteral(", ") + wordOf(row.state);
}

constexpr std::int64_t kMostCounted = 99;

QString newCount(const SidebarRow& row) {
  if (!row.conversation || row.conversation->unread == 0) return {};
  return row.conversation->unread > kMostCounted ? QStringLiteral("%1+").arg(kMostCounted)
                                                 : QString::number(row.conversation->unread);
}

QString descriptionOf(const SidebarRow& row) {
  if (row.kind == SidebarRow::Kind::project) {
    const QString fold = row.isOpen ? SidebarRows::tr("expanded") : SidebarRows::tr("collapsed");
    return row.unread == 0 ? fold : SidebarRows::tr("%1 unread").arg(row.unread) + QStringLiteral(", ") + fold;
  }
  const QString count = newCount(row);
  return count.isEmpty() ? QString() : SidebarRows::tr("%1 new").arg(count);
}

/// As the user's clock shows it, without seconds.
QString hourOf(Timestamp time) {
  static const bool hasHalves = QLocale::system().timeFormat(QLocale::ShortFormat).contains(u'a', Qt::CaseInsensitive);
  const auto milliseconds = std::chrono::floor<std::chrono::milliseconds>(time).time_since_epoch().count();
  return QLocale::c().toString(QDateTime::fromMSecsSinceEpoch(milliseconds).time(),
                               hasHalves ? QStringLiteral("h:mm AP") : QStringLiteral("HH:mm"));
}

}  // namespace

SidebarRows::SidebarRows() : roster_(ConversationRoster::shared()), now_(DesktopWindow::instance().presentTime()) {
  connect(&DesktopWindow::instance(), &DesktopWindow::presentTimeChanged, this, [this] {
    if (isShown_) goOn();
  });
  connect(roster_.get(), &ConversationRoster::changed, this, &SidebarRows::refresh);
}

void SidebarRows::setShown(bool shown) {
  if (std::exchange(isShown_, shown) == shown) return;
  if (shown) goOn();
  Q_EMIT shownChanged();
}

void SidebarRows::goOn() {
  roster_->lookAtRunsElsewhere();
  const Timestamp before = std::exchange(now_, DesktopWindow::instance().presentTime());
  for (int row = 0; row < count(); ++row) {
    const SidebarRow& shown = rows_[static_cast<std::size_t>(row)];
    if (aside(shown, before) != aside(shown, now_)) Q_EMIT dataChanged(index(row), index(row), {asideRole});
  }
  refresh();
}

void SidebarRows::refresh() {
  const int before = count();
  apply(wantedRows());
  if (count() != before || before == 0) Q_EMIT countChanged();
}

void SidebarRows::apply(std::vector<SidebarRow> wanted) {
  const auto origins = rowOrigins(rows_, wanted, keyOf);
  const auto at = [&](std::size_t row) { return rows_.begin() + static_cast<std::ptrdiff_t>(row); };
  for (const RowStep& step : rowSteps(rows_.size(), origins)) {
    const auto first = static_cast<int>(step.first);
    const auto last = static_cast<int>(step.first + step.count) - 1;
    switch (step.kind) {
      case RowStep::Kind::remove:
        beginRemoveRows({}, first, last);
        rows_.erase(at(step.first), at(step.first + step.count));
        endRemoveRows();
        break;
      case RowStep::Kind::move: {
        const auto to = static_cast<int>(step.to);
        beginMoveRows({}, first, first, {}, to > first ? to + 1 : to);
        SidebarRow moved = std::move(rows_[step.first]);
        rows_.erase(at(step.first));
        rows_.insert(at(step.to), std::move(moved));
        endMoveRows();
        break;
      }
      case RowStep::Kind::insert:
        beginInsertRows({}, first, last);
        rows_.insert(at(step.first), wanted.begin() + first, wanted.begin() + last + 1);
        endInsertRows();
        break;
    }
  }
  for (std::size_t row = 0; row < rows_.size(); ++row) {
    if (rows_[row] == wanted[row]) continue;
    rows_[row] = std::move(wanted[row]);
    const QModelIndex changed = index(static_cast<int>(row));
    Q_EMIT dataChanged(changed, changed);
  }
}

const SidebarRow* SidebarRows::rowAt(int row) const {
  return row >= 0 && row < count() ? &rows_[static_cast<std::size_t>(row)] : nullptr;
}

int SidebarRows::rowByKey(int row, int key) {
  if (key == Qt::Key_Home) return std::min(0, count() - 1);
  return key == Qt::Key_End ? count() - 1 : row;
}

int SidebarRows::rowOfConversation(const QString& conversation) const {
  const auto id = idOf<ConversationId>(conversation);
  const auto found = std::ranges::find_if(
      rows_, [&](const SidebarRow& row) { return row.conversation && row.conversation->id == id; });
  return found == rows_.end() ? -1 : static_cast<int>(found - rows_.begin());
}

QString SidebarRows::aside(const SidebarRow& row, Timestamp at) const {
  switch (row.state) {
    case ConversationState::failed:
    case ConversationState::interrupted:
      return wordOf(row.state);
    case ConversationState::running:
    case ConversationState::draft:
      return row.conversation ? QString() : wordOf(row.state);
    case ConversationState::unread:
    case ConversationState::quiet:
      break;
  }
  if (row.isOfEarlierDay) return hourOf(row.conversation->lastActivityAt);
  if (row.conversation) return QString::fromStdString(shortAge(row.conversation->lastActivityAt, at));
  return row.state == ConversationState::unread ? tr("%1 unread").arg(row.unread) : row.note;
}

int SidebarRows::rowCount(const QModelIndex& parent) const { return parent.isValid() ? 0 : count(); }

QVariant SidebarRows::data(const QModelIndex& index, int role) const {
  if (!checkIndex(index, CheckIndexOption::IndexIsValid)) return {};
  const SidebarRow& row = rows_[static_cast<std::size_t>(index.row())];
  switch (role) {
    case kindRole:
      return static_cast<int>(row.kind);
    case projectRole:
      return textOf(row.project);
    case conversationRole:
      return row.conversation ? textOf(row.conversation->id) : QString();
    case Qt::DisplayRole:
    case titleRole:
      return row.conversation ? row.conversation->title : row.title;
    case nameRole:
      return nameOf(row);
    case noteRole:
      return row.note;
    case groupRole:
      return row.group;
    case stateRole:
      return static_cast<int>(row.state);
    case newCountRole:
      return newCount(row);
    case asideRole:
      return aside(row, now_);
    case descriptionRole:
      return descriptionOf(row);
    case isOpenRole:
      return row.isOpen;
    case isArchivedRole:
      return row.conversation && row.conversation->archived;
    default:
      return {};
  }
}

QHash<int, QByteArray> SidebarRows::roleNames() const {
  return {{kindRole, "kind"},
          {projectRole, "projectId"},
          {conversationRole, "conversationId"},
          {titleRole, "title"},
          {nameRole, "spokenName"},
          {noteRole, "note"},
          {groupRole, "group"},
          {stateRole, "shownState"},
          {newCountRole, "newCount"},
          {asideRole, "aside"},
          {descriptionRole, "description"},
          {isOpenRole, "isOpen"},
          {isArchivedRole, "isArchived"}};
}

}  // namespace ravant::desktop
