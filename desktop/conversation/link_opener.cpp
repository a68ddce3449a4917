#include "desktop/conversation/link_opener.hpp"

#include <QDesktopServices>
#include <QUrl>
#include <algorithm>
#include <filesystem>

#include "desktop/program/file_opening.hpp"
#include "desktop/text/file_links.hpp"
#include "platform/async/on_pool.hpp"

namespace ravant::desktop {
namespace {

/// The file where it exists and lies in the folder, whatever links lead out of it.
std::optional<std::filesystem::path> fileInside(const std::filesystem::path& folder, const std::string& path) {
  std::error_code error;
  const auto root = std::filesystem::canonical(folder, error);
  if (error) return {};
  const auto file = std::filesystem::canonical(folder / path, error);
  if (error) return {};
  const auto [end, rest] = std::ranges::mismatch(root, file);
  return end == root.end() ? std::optional(file) : std::nullopt;
}

}  // namespace

void LinkOpener::open(const QString& href) {
  switch (linkKind(href.toStdString())) {
    case LinkKind::external:
      QDesktopServices::openUrl(QUrl(href));
      return;
    case LinkKind::fileReference:
      start(openFile(href.toStdString()));
      return;
    case LinkKind::none:
      return;
  }
}

QString targetOfLink(const QString& href) {
  switch (linkKind(href.toStdString())) {
    case LinkKind::external:
      return href;
    case LinkKind::fileReference: {
      const auto file = fileOfHref(href.toStdString());
      if (!file) return {};
      const QString path = QString::fromStdString(file->path);
      return file->line ? QStringLiteral("%1:%2").arg(path).arg(*file->line) : path;
    }
    case LinkKind::none:
      break;
  }
  return {};
}

awaitable<void> LinkOpener::openFile(std::string href) {
  const auto file = fileOfHref(href);
  if (!file || conversation_.isEmpty()) co_return;
  Application& application = DesktopWindow::instance().application();
  const auto summary = co_await alive(application.conversations().conversation(idOf<ConversationId>(conversation_)));
  if (!summary) co_return;
  const auto projects = co_await alive(application.projects().projects());
  const auto project = std::ranges::find(projects, summary->conversation.project, &Project::id);
  if (project == projects.end()) co_return;
  const auto found =
      co_await alive(onPool(application.modelContainer()->work(),
                            [folder = project->path, path = file->path] { return fileInside(folder, path); }));
  if (!found) {
    DesktopWindow::instance().notices()->tellError(
        tr("There is no file %1 in the project.").arg(QString::fromStdString(file->path)));
    co_return;
  }
  ravant::desktop::openFile(application.settings(),
                            {.file = *found, .line = file->line.value_or(1), .column = file->column.value_or(1)});
}

}  // namespace ravant::desktop
