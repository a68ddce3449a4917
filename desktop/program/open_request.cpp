#include "desktop/program/open_request.hpp"

#include <algorithm>
#include <cctype>

#include "app/project_of_folder.hpp"
#include "platform/async/on_pool.hpp"
#include "platform/text/utf8.hpp"

namespace ravant::desktop {
namespace {

constexpr std::size_t kFewestCharacters = 6;

std::runtime_error trouble(const QString& words) { return std::runtime_error(words.toStdString()); }

}  // namespace

std::filesystem::path projectFolderAt(const std::filesystem::path& path, const std::vector<Project>& projects) {
  const std::string shown = repairUtf8(path.string());
  std::error_code fault;
  std::filesystem::path folder = std::filesystem::canonical(path, fault);
  if (fault) throw std::runtime_error(fmt::format("{}: {}", shown, fault.message()));
  if (!std::filesystem::is_directory(folder, fault))
    throw trouble(QObject::tr("%1 is not a folder").arg(QString::fromStdString(shown)));
  if (!isValidUtf8(folder.string()))
    throw trouble(QObject::tr("%1: a project's path must be valid UTF-8").arg(QString::fromStdString(shown)));
  const bool isKnown = std::ranges::find(projects, folder.string(), &Project::path) != projects.end();
  const auto objection = isKnown ? std::nullopt : objectionTo({}, folder, homeFolder());
  if (objection) {
    throw trouble(
        QObject::tr("%1 does not become a project: %2, and an agent may change everything in a project's folder")
            .arg(QString::fromStdString(shown), QString::fromStdString(*objection)));
  }
  return folder;
}

awaitable<ProjectId> projectIn(Application& application, std::filesystem::path folder) {
  const auto look = [path = std::move(folder), known = co_await application.projects().projects()] {
    return projectFolderAt(path, known);
  };
  const std::filesystem::path found = co_await onPool(application.modelContainer()->work(), look);
  const std::string name = found.has_filename() ? found.filename().string() : found.string();
  co_return (co_await application.projects().create(found, name)).id;
}

awaitable<Conversation> conversationNamed(Application& application, std::string id) {
  std::string digits;
  for (const char character : id) {
    if (character != '-') digits += static_cast<char>(std::tolower(static_cast<unsigned char>(character)));
  }
  const bool isId = digits.size() >= kFewestCharacters &&
                    std::ranges::all_of(digits, [](unsigned char digit) { return std::isxdigit(digit) != 0; });
  const auto found =
      isId ? co_await application.conversations().conversationsWithPrefix(digits) : std::vector<ConversationSummary>();
  if (found.empty()) throw trouble(QObject::tr("There is no conversation %1.").arg(QString::fromStdString(id)));
  if (found.size() > 1) {
    throw trouble(QObject::tr("%1 conversations begin with %2: give more of the id.")
                      .arg(QString::number(found.size()), QString::fromStdString(id)));
  }
  co_return found.front().conversation;
}

}  // namespace ravant::desktop
