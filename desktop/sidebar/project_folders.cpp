#include "desktop/sidebar/project_folders.hpp"

#include <fmt/format.h>

#include <boost/asio/co_spawn.hpp>
#include <variant>

#include "app/project_of_folder.hpp"
#include "desktop/program/desktop_window.hpp"
#include "platform/text/utf8.hpp"

namespace ravant::desktop {
namespace {

/// A folder that can be a project, or why it cannot.
using Candidate = std::variant<std::filesystem::path, std::string>;

Candidate candidate(const std::filesystem::path& chosen, const std::vector<Project>& projects) {
  const std::string shown = repairUtf8(chosen.string());
  std::error_code fault;
  const std::filesystem::path folder = std::filesystem::canonical(chosen, fault);
  if (fault) return fmt::format("{}: {}", shown, fault.message());
  if (!std::filesystem::is_directory(folder, fault)) return fmt::format("{} is not a folder", shown);
  if (!isValidUtf8(folder.string())) return fmt::format("{}: a project's path must be valid UTF-8", shown);
  const bool isKnown = std::ranges::find(projects, folder.string(), &Project::path) != projects.end();
  const auto objection = isKnown ? std::nullopt : objectionTo({}, folder, homeFolder());
  if (objection) {
    return fmt::format("{} does not become a project: {}, and an agent may change everything in a project's folder",
                       shown, *objection);
  }
  return folder;
}

awaitable<Candidate> looked(any_io_executor io, std::filesystem::path chosen, std::vector<Project> projects) {
  const auto look = [](std::filesystem::path path, std::vector<Project> known) -> awaitable<Candidate> {
    co_return candidate(path, known);
  };
  co_return co_await asio::co_spawn(io, look(std::move(chosen), std::move(projects)), use_awaitable);
}

}  // namespace

void ProjectFolders::add(const QList<QUrl>& folders) { start(addAll(folders)); }

awaitable<void> ProjectFolders::addAll(QList<QUrl> folders) {
  DesktopWindow& window = DesktopWindow::instance();
  Application& application = window.application();
  const auto known = co_await alive(application.projects().projects());
  std::optional<ProjectId> last;
  for (const QUrl& url : folders) {
    if (!url.isLocalFile()) {
      window.notices()->tellError(tr("%1 is not a folder of this machine").arg(url.toDisplayString()));
      continue;
    }
    const Candidate found = co_await alive(looked(application.io(), url.toLocalFile().toStdString(), known));
    if (const auto* reason = std::get_if<std::string>(&found)) {
      window.notices()->tellError(QString::fromStdString(*reason));
      continue;
    }
    const auto& folder = std::get<std::filesystem::path>(found);
    last = (co_await alive(application.projects().create(folder, folder.filename().string()))).id;
  }
  if (last) window.state().startNewConversation(*last);
}

}  // namespace ravant::desktop
