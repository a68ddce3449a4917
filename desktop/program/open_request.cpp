#include "desktop/program/open_request.hpp"

#include <algorithm>
#include <cctype>

#include "platform/async/on_pool.hpp"
#include "platform/text/utf8.hpp"

namespace ravant::desktop {
namespace {

constexpr std::size_t kFewestCharacters = 6;

std::filesystem::path folderAt(const std::filesystem::path& path) {
  std::error_code fault;
  std::filesystem::path folder = std::filesystem::canonical(path, fault);
  if (fault) throw std::runtime_error(fmt::format("{}: {}", path.string(), fault.message()));
  if (!std::filesystem::is_directory(folder)) throw std::runtime_error(path.string() + " is not a folder");
  if (!isValidUtf8(folder.string())) throw std::runtime_error("a project's path must be valid UTF-8");
  return folder;
}

}  // namespace

awaitable<ProjectId> projectIn(Application& application, std::filesystem::path folder) {
  const std::filesystem::path found =
      co_await onPool(application.modelContainer()->work(), [path = std::move(folder)] { return folderAt(path); });
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
  if (found.empty()) throw std::runtime_error(fmt::format("There is no conversation {}.", id));
  if (found.size() > 1) {
    throw std::runtime_error(fmt::format("{} conversations begin with {}: give more of the id.", found.size(), id));
  }
  co_return found.front().conversation;
}

}  // namespace ravant::desktop
