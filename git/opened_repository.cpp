#include "git/opened_repository.hpp"

#include <fmt/format.h>
#include <sys/stat.h>

#include <array>
#include <cstdlib>

#include "git/pipes.hpp"
#include "git/repository_top.hpp"
#include "git/unsupported_repository.hpp"
#include "platform/text/text.hpp"
#include "platform/text/utf8.hpp"

namespace ravant::git {
namespace {

constexpr const char* kBare = "the repository is bare: it has no working copy";

std::optional<std::array<std::int64_t, 4>> stampOf(const std::string& file) {
  struct stat found{};
  if (::stat(file.c_str(), &found) != 0) return std::nullopt;
  return std::array<std::int64_t, 4>{found.st_mtim.tv_sec, found.st_mtim.tv_nsec, found.st_size,
                                     static_cast<std::int64_t>(found.st_ino)};
}

std::string folderOfRepository(const std::filesystem::path& folder) {
  return textIfAny([&](git_buf* found) { return git_repository_discover(found, folder.c_str(), 0, nullptr); })
      .value_or("");
}

std::string configured(git_config* config, const char* key) {
  return textIfAny([&](git_buf* found) { return git_config_get_string_buf(found, config, key); }).value_or("");
}

bool isInside(const std::filesystem::path& inner, const std::filesystem::path& outer) {
  const auto relative = inner.lexically_relative(outer);
  return !relative.empty() && *relative.begin() != "..";
}

/// The configuration that is not of one repository.
std::vector<std::filesystem::path> sharedConfiguration() {
  std::vector<std::filesystem::path> files;
  using Find = decltype(::git_config_find_global)*;
  for (const Find find : {Find(git_config_find_system), Find(git_config_find_global), Find(git_config_find_xdg)}) {
    if (auto file = textIfAny(find); file && !file->empty()) files.emplace_back(*std::move(file));
  }
  if (const char* home = std::getenv("HOME")) files.push_back(std::filesystem::path(home) / ".gitconfig");
  return files;
}

/// What the library was told to let pass.
void checkExtensions(git_config* config) {
  const std::string objects = configured(config, "extensions.objectformat");
  if (!objects.empty() && objects != "sha1") {
    throw UnsupportedRepositoryError(
        "the repository names its objects by SHA-256, which this version cannot read; use git itself");
  }
  const std::string references = configured(config, "extensions.refstorage");
  if (!references.empty() && references != "files") {
    throw UnsupportedRepositoryError(fmt::format(
        "the repository keeps its references as a {}, which this version cannot read; use git itself", references));
  }
}

/// What is set for this working copy alone (git-worktree(1), "Configuration file").
void addWorktreeConfiguration(git_repository* repository, git_config* config) {
  int isOn = 0;
  if (git_config_get_bool(&isOn, config, "extensions.worktreeconfig") != 0 || isOn == 0) return;
  const std::string file = std::string(git_repository_path(repository)) + "config.worktree";
  check(git_config_add_file_ondisk(config, file.c_str(), GIT_CONFIG_LEVEL_APP, repository, 1));
  int isBare = 0;
  if (git_config_get_bool(&isBare, config, "core.bare") == 0 && isBare != 0 &&
      git_repository_is_worktree(repository) == 0) {
    throw UnsupportedRepositoryError(kBare);
  }
}

}  // namespace

OpenedRepository::OpenedRepository(std::filesystem::path folder) : folder_(std::move(folder)) {
  initializeLibgit2();
  if (const auto pipe = pipeInTheWay(folder_, sharedConfiguration())) {
    throw UnsupportedRepositoryError(fmt::format("{} is a pipe, where git has a file", repairUtf8(pipe->string())));
  }
  handles_.push_back(open());
  findPrefix();
  noteConfiguration();
}

std::span<const Repository> OpenedRepository::handles(std::size_t count) {
  while (handles_.size() < count) handles_.push_back(open());
  return handles_;
}

bool OpenedRepository::isCurrent() const {
  if (pipeInTheWay(folder_, sharedConfiguration())) return false;
  for (const auto& [file, stamp] : configuration_) {
    if (stampOf(file) != stamp) return false;
  }
  return folderOfRepository(folder_) == git_repository_path(get());
}

std::vector<std::string> OpenedRepository::scope() const {
  return prefix_.empty() ? std::vector<std::string>() : std::vector<std::string>{prefix_};
}

std::string OpenedRepository::relative(std::string_view path) const {
  return path == prefix_ ? "./" : std::string(path.substr(prefix_.size()));
}

Repository OpenedRepository::open() const {
  git_repository* opened = nullptr;
  const int code = git_repository_open_ext(&opened, folder_.c_str(), 0, nullptr);
  Repository repository(opened);
  if (code == GIT_ENOTFOUND) throw UnsupportedRepositoryError(whyNoRepository(folder_));
  check(code);
  const Config config = own<Config>([&](git_config** found) { return git_repository_config(found, opened); });
  checkExtensions(config.get());
  addWorktreeConfiguration(opened, config.get());
  return repository;
}

void OpenedRepository::findPrefix() {
  const char* top = git_repository_workdir(get());
  if (top == nullptr) throw UnsupportedRepositoryError(kBare);
  const auto folder = std::filesystem::canonical(folder_);
  if (isInside(folder, std::filesystem::canonical(git_repository_path(get())))) {
    throw UnsupportedRepositoryError("the folder is git's own; its working copy can be read");
  }
  const auto whole = std::filesystem::canonical(top);
  if (!isInside(folder, whole)) {
    throw UnsupportedRepositoryError(fmt::format("the repository's working copy is elsewhere: {}", repairUtf8(top)));
  }
  if (folder != whole) prefix_ = folder.lexically_relative(whole).string() + "/";
}

void OpenedRepository::noteConfiguration() {
  std::vector<std::filesystem::path> files = sharedConfiguration();
  files.push_back(std::string(git_repository_commondir(get())) + "config");
  files.push_back(std::string(git_repository_path(get())) + "config.worktree");
  for (const auto& file : files) configuration_.emplace(file, stampOf(file));
}

}  // namespace ravant::git
