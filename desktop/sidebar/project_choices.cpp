#include "desktop/sidebar/project_choices.hpp"

#include <algorithm>
#include <map>
#include <utility>

namespace ravant::desktop {
namespace {

/// That of the conversation that is shown, or that is to begin in what is shown.
std::optional<ProjectId> shownProject(const ConversationRoster& roster) {
  const DesktopWindow& window = DesktopWindow::instance();
  if (const auto shown = window.shownConversation()) {
    const auto listed = roster.conversation(*shown);
    return listed ? std::optional(listed->project) : std::nullopt;
  }
  const QString project = window.newConversationProject();
  return project.isEmpty() ? std::nullopt : std::optional(idOf<ProjectId>(project));
}

}  // namespace

void ProjectChoices::setQuery(const QString& query) {
  if (std::exchange(query_, query) == query) return;
  refresh();
  Q_EMIT queryChanged();
}

void ProjectChoices::ask() {
  setQuery({});
  refresh();
  if (count() == 0) return DesktopWindow::instance().runCommand(WindowCommand::addNewProject);
  if (count() == 1) return choose(0);
  Q_EMIT asked();
}

void ProjectChoices::choose(int row) {
  if (const SidebarRow* const chosen = rowAt(row)) {
    DesktopWindow::instance().startNewConversation(textOf(chosen->project));
  }
}

std::vector<SidebarRow> ProjectChoices::wantedRows() const {
  std::map<ProjectId, std::size_t> places;  // those without a conversation are last
  const auto conversations = roster()->conversations();
  for (const auto& conversation : conversations) places.try_emplace(conversation->project, places.size());
  // Another one is wanted than where one is.
  if (const auto shown = shownProject(*roster())) places[*shown] = conversations.size() + 1;
  std::map<std::pair<std::size_t, std::size_t>, ravant::Project> projects;
  for (const ravant::Project& project : roster()->projects()) {
    const auto found = places.find(project.id);
    projects.emplace(std::pair(found == places.end() ? conversations.size() : found->second, projects.size()), project);
  }

  const QStringList words = query_.split(QLatin1Char(' '), Qt::SkipEmptyParts);
  std::vector<SidebarRow> rows;
  for (const auto& [place, project] : projects) {
    const QString name = QString::fromStdString(project.name);
    const QString path = QString::fromStdString(project.path);
    const bool fits = std::ranges::all_of(words, [&](const QString& word) {
      return name.contains(word, Qt::CaseInsensitive) || path.contains(word, Qt::CaseInsensitive);
    });
    if (!fits) continue;
    rows.push_back({.kind = SidebarRow::Kind::project,
                    .project = project.id,
                    .title = name,
                    .name = tr("%1, %2").arg(name, path),
                    .note = path});
  }
  return rows;
}

}  // namespace ravant::desktop
