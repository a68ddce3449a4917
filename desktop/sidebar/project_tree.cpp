#include "desktop/sidebar/project_tree.hpp"

#include <algorithm>
#include <limits>

namespace ravant::desktop {
namespace {

constexpr std::size_t kNewest = 8;

/// A project with what its rows need to know of its conversations.
struct Branch {
  std::vector<ConversationRoster::Listed> shown;
  std::size_t all = 0;
  int unread = 0;
  ConversationState state = ConversationState::quiet;
};

SidebarRow rowOf(const ConversationRoster::Listed& conversation) {
  return {.kind = SidebarRow::Kind::conversation,
          .project = conversation->project,
          .conversation = conversation,
          .state = conversation->state};
}

}  // namespace

ProjectTree::ProjectTree() : branches_(DesktopWindow::instance()) {
  connect(&branches_, &ProjectBranches::changed, this, &ProjectTree::refresh);
  const auto lookAgain = [this](ProjectId id) {
    if (const auto* project = roster()->project(id)) branches_.lookAgain(*project);
  };
  connect(roster().get(), &ConversationRoster::runEnded, this, lookAgain);
  DesktopWindow& window = DesktopWindow::instance();
  connect(&window, &DesktopWindow::activeChanged, this, [this, &window, lookAgain] {
    if (!window.isActive()) return;
    for (const auto& project : roster()->projects()) lookAgain(project.id);
  });
  connect(roster().get(), &ConversationRoster::changed, this, [this] {
    branches_.follow(roster()->projects());
    Q_EMIT runningChanged();
  });
  branches_.follow(roster()->projects());
  refresh();
}

QString ProjectTree::running() const {
  const int running = roster()->running();
  return running == 0 ? QString() : tr("%1 running").arg(running);
}

std::vector<SidebarRow> ProjectTree::wantedRows() const {
  const auto projects = roster()->projects();
  std::map<ProjectId, Branch> branches;
  std::map<ProjectId, std::size_t> room;
  for (const auto& project : projects) {
    const std::size_t most = showsAll_.contains(project.id) ? std::numeric_limits<std::size_t>::max() : kNewest;
    room.emplace(project.id, project.expandedInSidebar ? most : 0);
  }
  for (const auto& conversation : roster()->conversations()) {
    if (conversation->archived) continue;
    Branch& branch = branches[conversation->project];
    ++branch.all;
    branch.state = std::min(branch.state, conversation->state);
    if (conversation->state == ConversationState::unread) ++branch.unread;
    if (branch.shown.size() < room[conversation->project]) branch.shown.push_back(conversation);
  }
  std::vector<SidebarRow> rows;
  for (const auto& project : projects) {
    const Branch& branch = branches[project.id];
    const bool isOpen = project.expandedInSidebar;
    const QString name = QString::fromStdString(project.name);
    rows.push_back({.kind = SidebarRow::Kind::project,
                    .project = project.id,
                    .title = name,
                    .name = name,
                    .note = branches_.of(project.id),
                    .state = isOpen ? ConversationState::quiet : branch.state,
                    .unread = isOpen ? 0 : branch.unread,
                    .isOpen = isOpen});
    if (!isOpen) continue;
    for (const auto& conversation : branch.shown) rows.push_back(rowOf(conversation));
    if (branch.all == 0) {
      rows.push_back({.kind = SidebarRow::Kind::empty,
                      .project = project.id,
                      .title = tr("No conversation yet."),
                      .name = tr("No conversation yet in %1").arg(name)});
    } else if (branch.all > kNewest) {
      const bool showsAll = showsAll_.contains(project.id);
      rows.push_back(
          {.kind = SidebarRow::Kind::showAll,
           .project = project.id,
           .title = showsAll ? tr("Show fewer") : tr("Show all %1").arg(branch.all),
           .name = showsAll ? tr("Show fewer of %1").arg(name) : tr("Show all %1 of %2").arg(branch.all).arg(name)});
    }
  }
  return rows;
}

void ProjectTree::open(int row) {
  const SidebarRow* const opened = rowAt(row);
  if (!opened) return;
  switch (opened->kind) {
    case SidebarRow::Kind::project:
      return DesktopWindow::instance().showProject(textOf(opened->project));
    case SidebarRow::Kind::conversation:
      return openConversation(*opened->conversation);
    case SidebarRow::Kind::empty:
      return DesktopWindow::instance().startNewConversation(textOf(opened->project));
    case SidebarRow::Kind::showAll:
      if (const ProjectId project = opened->project; !showsAll_.insert(project).second) showsAll_.erase(project);
      return refresh();
  }
}

// The tree is the list that the conversation was picked from: none is shown beside it.
void ProjectTree::openConversation(const ListedConversation& conversation) {
  DesktopWindow& window = DesktopWindow::instance();
  window.state().setSelection(std::nullopt, conversation.id);
  window.focusPrompt();
}

void ProjectTree::setOpen(int row, bool isOpen) {
  const SidebarRow* const folded = rowAt(row);
  if (folded && folded->kind == SidebarRow::Kind::project) roster()->setExpanded(folded->project, isOpen);
}

int ProjectTree::rowByKey(int row, int key) {
  const SidebarRow* const from = rowAt(row);
  if (!from || (key != Qt::Key_Left && key != Qt::Key_Right)) return SidebarRows::rowByKey(row, key);
  const bool isProject = from->kind == SidebarRow::Kind::project;
  const bool unfolds = key == Qt::Key_Right;
  if (isProject && from->isOpen != unfolds) {
    setOpen(row, unfolds);
    return row;
  }
  if (unfolds) return isProject ? row + 1 : row;
  return parentOf(row);
}

void ProjectTree::rename(int row, const QString& words) {
  const SidebarRow* const renamed = rowAt(row);
  if (!renamed) return;
  if (renamed->conversation) return conversationActions_.rename(textOf(renamed->conversation->id), words);
  projectActions_.rename(textOf(renamed->project), words);
}

int ProjectTree::remove(int row) {
  const SidebarRow* const removed = rowAt(row);
  if (!removed) return row;
  if (removed->kind == SidebarRow::Kind::project) projectActions_.remove(textOf(removed->project));
  if (!removed->conversation) return std::min(row, count() - 1);
  const SidebarRow* const next = rowAt(row + 1);
  const bool isLast = !next || !next->conversation;
  const QString conversation = textOf(removed->conversation->id);
  conversationActions_.remove(conversation);
  return isLast && rowOfConversation(conversation) < 0 ? row - 1 : row;
}

int ProjectTree::parentOf(int row) const {
  while (rowAt(row) && rowAt(row)->kind != SidebarRow::Kind::project) --row;
  return rowAt(row) ? row : -1;
}

int ProjectTree::rowOfProject(const QString& project) const {
  const auto id = idOf<ProjectId>(project);
  const auto found = std::ranges::find_if(
      rows(), [&](const SidebarRow& row) { return row.kind == SidebarRow::Kind::project && row.project == id; });
  return found == rows().end() ? -1 : static_cast<int>(found - rows().begin());
}

int ProjectTree::dropRow(int row) const {
  if (row < 0) return count();
  while (rowAt(row) && rowAt(row)->kind != SidebarRow::Kind::project) ++row;
  return row;
}

void ProjectTree::moveProject(const QString& project, int dropRow) {
  const SidebarRow* const next = rowAt(dropRow);
  projectActions_.moveBefore(project, next ? textOf(next->project) : QString());
}

int ProjectTree::rowOfShown() const {
  const DesktopWindow& window = DesktopWindow::instance();
  const int conversation = rowOfConversation(window.conversation());
  if (conversation >= 0) return conversation;
  if (const auto shown = roster()->conversation(idOf<ConversationId>(window.conversation()))) {
    return rowOfProject(textOf(shown->project));
  }
  const QString page = window.newConversationProject();
  return rowOfProject(page.isEmpty() ? window.contentProject() : page);
}

void ProjectTree::openNeighbour(int step) {
  const int shown = rowOfShown();
  int row = shown >= 0 ? shown + step : step > 0 ? 0 : count() - 1;
  while (rowAt(row) && rowAt(row)->kind != SidebarRow::Kind::conversation) row += step;
  if (rowAt(row)) openConversation(*rowAt(row)->conversation);
}

int ProjectTree::reveal(const QString& conversation) {
  const auto hidden = roster()->conversation(idOf<ConversationId>(conversation));
  if (!hidden) return -1;
  roster()->setExpanded(hidden->project, true);
  if (rowOfConversation(conversation) < 0) {
    showsAll_.insert(hidden->project);
    refresh();
  }
  return rowOfConversation(conversation);
}

}  // namespace ravant::desktop
