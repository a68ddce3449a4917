#include "desktop/sidebar/conversation_list.hpp"

#include <QDateTime>
#include <QLocale>
#include <map>

namespace ravant::desktop {
namespace {

constexpr qint64 kNamedDays = 7;

/// Names the days of a list that goes back in time; each is worked out once.
class Days {
 public:
  explicit Days(Timestamp now) : today_(dayOf(now)), todayBegins_(beginOf(today_)) {}

  bool isEarlier(Timestamp time) const { return time < todayBegins_; }

  QString name(Timestamp time) {
    if (time < begin_ || time >= end_) look(time);
    return name_;
  }

 private:
  static QDate dayOf(Timestamp time) {
    return QDateTime::fromMSecsSinceEpoch(
               std::chrono::floor<std::chrono::milliseconds>(time).time_since_epoch().count())
        .date();
  }
  static Timestamp beginOf(QDate day) {
    return Timestamp(std::chrono::milliseconds(day.startOfDay().toMSecsSinceEpoch()));
  }

  void look(Timestamp time) {
    const QDate day = dayOf(time);
    begin_ = beginOf(day);
    end_ = beginOf(day.addDays(1));
    name_ = words(day);
  }

  QString words(QDate day) const {
    const qint64 ago = day.daysTo(today_);
    if (ago <= 0) return ConversationList::tr("Today");
    if (ago == 1) return ConversationList::tr("Yesterday");
    const QLocale english(QLocale::English);
    if (ago < kNamedDays) return english.toString(day, QStringLiteral("dddd"));
    return english.toString(day,
                            day.year() == today_.year() ? QStringLiteral("d MMMM") : QStringLiteral("d MMMM yyyy"));
  }

  QDate today_;
  Timestamp todayBegins_;
  Timestamp begin_;
  Timestamp end_;
  QString name_;
};

}  // namespace

ConversationList::ConversationList() {
  connect(roster().get(), &ConversationRoster::changed, this, &ConversationList::titleChanged);
  connect(this, &ConversationList::queryChanged, this, &ConversationList::titleChanged);
  refresh();
}

void ConversationList::setProject(const QString& project) {
  if (std::exchange(project_, project) == project) return;
  archived_ = false;
  refresh();
  Q_EMIT queryChanged();
}

void ConversationList::setArchived(bool archived) {
  if (std::exchange(archived_, archived) == archived) return;
  refresh();
  Q_EMIT queryChanged();
}

void ConversationList::turnArchived(bool isSeen) {
  if (!isSeen) {
    setProject({});
    DesktopWindow::instance().showLatest();
  }
  setArchived(!isSeen || !archived_);
}

QString ConversationList::title() const {
  if (project_.isEmpty()) return archived_ ? tr("Archived conversations") : tr("Latest conversations");
  return archived_ ? tr("Archived in %1").arg(projectName()) : projectName();
}

QString ConversationList::projectName() const {
  const auto* project = roster()->project(idOf<ProjectId>(project_));
  return project ? QString::fromStdString(project->name) : QString();
}

std::vector<SidebarRow> ConversationList::wantedRows() const {
  std::map<ProjectId, QString> names;
  for (const auto& project : roster()->projects()) names.emplace(project.id, QString::fromStdString(project.name));
  const auto wanted = idOf<ProjectId>(project_);
  const bool isOfAll = project_.isEmpty();
  const Timestamp present = now();
  Days days(present);
  std::vector<SidebarRow> rows;
  for (const auto& conversation : roster()->conversations()) {
    if (conversation->archived != archived_ || (!isOfAll && conversation->project != wanted)) continue;
    const Timestamp active = conversation->isRunning ? present : conversation->lastActivityAt;
    rows.push_back({.kind = SidebarRow::Kind::conversation,
                    .project = conversation->project,
                    .conversation = conversation,
                    .note = isOfAll ? names[conversation->project] : QString(),
                    .group = days.name(active),
                    .isOfEarlierDay = days.isEarlier(active),
                    .state = conversation->state});
  }
  return rows;
}

void ConversationList::open(int row) {
  const SidebarRow* const opened = rowAt(row);
  if (!opened) return;
  DesktopWindow::instance().openConversation(textOf(opened->conversation->id), textOf(opened->project));
}

}  // namespace ravant::desktop
