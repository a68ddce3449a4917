#include "desktop/sidebar/project_actions.hpp"

#include <QClipboard>
#include <QDesktopServices>
#include <QGuiApplication>
#include <QUrl>
#include <algorithm>

#include "core/store/store_error.hpp"
#include "platform/text/text.hpp"

namespace ravant::desktop {
namespace {

/// For after the way back: also where no list is there any more, at the end of the program.
awaitable<void> removeProject(Application& application, ProjectId id, QString name,
                              std::weak_ptr<ConversationRoster> roster) {
  QString fault;
  try {
    // By itself: a large one takes seconds, for which the window is not to wait.
    const auto projects = ProjectStore::make(application.modelContainer());
    co_await projects->remove(id);
    co_return;
  } catch (const InUseError& error) {
    fault = ProjectActions::tr("%1 was not removed: %2").arg(name, QString::fromUtf8(error.what()));
  } catch (const StoreError& error) {
    fault = ProjectActions::tr("%1 was not removed: %2").arg(name, QString::fromUtf8(error.what()));
  }
  if (const auto lists = roster.lock()) lists->show(id);
  if (DesktopWindow* const window = DesktopWindow::present()) window->notices()->tellError(fault);
}

bool showsOneOf(const WindowState::Selection& selection, ProjectId project, const ConversationRoster& roster) {
  if (selection.detail == DetailSelection(NewConversation{project})) return true;
  const auto* shown = selection.detail ? std::get_if<ConversationId>(&*selection.detail) : nullptr;
  const auto conversation = shown ? roster.conversation(*shown) : nullptr;
  return conversation && conversation->project == project;
}

}  // namespace

ProjectActions::ProjectActions() : roster_(ConversationRoster::shared()) {}

void ProjectActions::rename(const QString& project, const QString& name) {
  const std::string wanted(trimmed(name.toStdString()));
  const auto renamed = [](Application& application, ProjectId id, std::string to) -> awaitable<void> {
    co_await application.projects().rename(id, std::move(to));
  };
  if (wanted.empty()) return;
  InterfaceLoop::instance().spawn(renamed(DesktopWindow::instance().application(), idOf<ProjectId>(project), wanted));
}

void ProjectActions::remove(const QString& project) {
  const Project* const found = roster_->project(idOf<ProjectId>(project));
  if (!found) return;
  DesktopWindow& window = DesktopWindow::instance();
  const ProjectId id = found->id;
  const QString name = QString::fromStdString(found->name);
  const bool isRunning = std::ranges::any_of(roster_->conversations(), [&](const auto& conversation) {
    return conversation->project == id && conversation->isRunning;
  });
  if (isRunning) return window.notices()->tellError(tr("%1 was not removed: a prompt is running in it").arg(name));

  WindowState& state = window.state();
  const WindowState::Selection before = state.selection();
  const bool showsIt = showsOneOf(before, id, *roster_);
  const bool listsIt = before.content == ContentSelection(id);
  if (showsIt || listsIt) {
    state.setSelection(listsIt || !before.content ? LatestConversations() : before.content,
                       showsIt ? std::nullopt : before.detail);
  }
  const std::weak_ptr<ConversationRoster> lists = roster_;
  const int notice = window.notices()->tell(
      tr("%1 was removed; its folder stays").arg(name),
      [lists, id, before, after = state.selection()] {
        if (const auto roster = lists.lock()) roster->show(id);
        WindowState& present = DesktopWindow::instance().state();
        if (present.selection() == after) present.setSelection(before.content, before.detail);
      },
      [lists, id, name] {
        InterfaceLoop::instance().spawn(removeProject(DesktopWindow::instance().application(), id, name, lists));
      });
  roster_->hide(id, notice);
}

std::vector<ProjectId> ProjectActions::order() const {
  std::vector<ProjectId> order;
  for (const Project& each : roster_->projects()) order.push_back(each.id);
  return order;
}

std::vector<ProjectId> ProjectActions::orderAfter(const QString& project, int places) const {
  std::vector<ProjectId> after = order();
  const auto found = std::ranges::find(after, idOf<ProjectId>(project));
  if (found == after.end()) return after;
  const auto to = std::clamp<std::ptrdiff_t>(found - after.begin() + places, 0, std::ssize(after) - 1);
  const ProjectId moved = *found;
  after.erase(found);
  after.insert(after.begin() + to, moved);
  return after;
}

bool ProjectActions::canMove(const QString& project, int places) const {
  return orderAfter(project, places) != order();
}

void ProjectActions::move(const QString& project, int places) {
  if (canMove(project, places)) store(orderAfter(project, places));
}

void ProjectActions::moveBefore(const QString& project, const QString& other) {
  const auto moved = idOf<ProjectId>(project);
  const auto next = idOf<ProjectId>(other);
  if (moved == next) return;
  const std::vector<ProjectId> before = order();
  std::vector<ProjectId> after = before;
  if (std::erase(after, moved) == 0) return;
  after.insert(std::ranges::find(after, next), moved);
  if (after != before) store(after);
}

void ProjectActions::store(const std::vector<ProjectId>& order) {
  start(alive(DesktopWindow::instance().application().projects().reorder(order)));
}

void ProjectActions::openFolder(const QString& project) {
  const Project* const found = roster_->project(idOf<ProjectId>(project));
  if (!found) return;
  if (!QDesktopServices::openUrl(QUrl::fromLocalFile(QString::fromStdString(found->path)))) {
    DesktopWindow::instance().notices()->tellError(
        tr("No program opened the folder %1").arg(QString::fromStdString(found->path)));
  }
}

void ProjectActions::copyPath(const QString& project) {
  if (const Project* const found = roster_->project(idOf<ProjectId>(project))) {
    QGuiApplication::clipboard()->setText(QString::fromStdString(found->path));
  }
}

}  // namespace ravant::desktop
