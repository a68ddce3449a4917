#include "git/submodules.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <map>

#include "git/changes.hpp"
#include "git/opened_repository.hpp"
#include "git/unsupported_repository.hpp"
#include "platform/text/utf8.hpp"

namespace ravant::git {
namespace {

/// What "submodule.<name>.<key>" says, by name.
std::map<std::string, std::string> valuesOf(git_config* config, std::string_view key) {
  std::map<std::string, std::string> values;
  forEachEntry(config, [&](std::string_view name, const char* value) {
    constexpr std::string_view kSection = "submodule.";
    if (!name.starts_with(kSection)) return;
    name.remove_prefix(kSection.size());
    const std::size_t end = name.rfind('.');
    if (end != std::string_view::npos && name.substr(end + 1) == key) values[std::string(name.substr(0, end))] = value;
  });
  return values;
}

/// What of a submodule does not count: "none", "untracked", "dirty" or "all".
class IgnoreRules {
 public:
  /// The repository's own configuration comes before .gitmodules.
  explicit IgnoreRules(git_repository* repository) {
    const auto config = own<Config>([&](git_config** found) { return git_repository_config(found, repository); });
    fallback_ = textIfAny([&](git_buf* value) {
                  return git_config_get_string_buf(value, config.get(), "diff.ignoreSubmodules");
                }).value_or("none");
    const std::string file = std::string(git_repository_workdir(repository)) + ".gitmodules";
    const auto modules =
        ownIfAny<Config>([&](git_config** opened) { return git_config_open_ondisk(opened, file.c_str()); });
    if (!modules) return;
    std::map<std::string, std::string> byName = valuesOf(modules.get(), "ignore");
    for (auto& [name, rule] : valuesOf(config.get(), "ignore")) byName[name] = rule;
    for (const auto& [name, path] : valuesOf(modules.get(), "path")) {
      if (const auto rule = byName.find(name); rule != byName.end()) byPath_[path] = rule->second;
    }
  }

  const std::string& of(const std::string& path) const {
    const auto rule = byPath_.find(path);
    return rule != byPath_.end() ? rule->second : fallback_;
  }

 private:
  std::map<std::string, std::string> byPath_;
  std::string fallback_;
};

void examine(Submodule& submodule, const std::filesystem::path& folder, const std::string& rule) {
  const OpenedRepository repository(folder);
  const Reference head = headOf(repository.get());
  const Object tip = tipOf(head.get());
  if (!tip) throw UnsupportedRepositoryError("it has no commit");
  submodule.commit = *git_object_id(tip.get());
  if (rule == "dirty") return;
  const auto unstaged = unstagedChanges(repository);
  const auto staged = stagedChanges(repository, repository.get());
  submodule.hasChanges = !staged.value.empty() || std::ranges::any_of(unstaged.value, [&](const GitFileChange& change) {
    return rule != "untracked" || change.status != GitFileStatus::untracked;
  });
  submodule.objection = unstaged.unsupportedReason ? unstaged.unsupportedReason : staged.unsupportedReason;
}

}  // namespace

std::vector<Submodule> submodulesOf(const OpenedRepository& repository, const FreshIndex& index) {
  std::vector<Submodule> submodules;
  const auto entries = index.submodules(repository.prefix());
  if (entries.empty()) return submodules;
  const IgnoreRules rules(repository.get());
  for (const auto& [path, expected] : entries) {
    Submodule submodule{.path = path, .expected = expected};
    const std::filesystem::path folder = git_repository_workdir(repository.get()) + path;
    std::error_code error;
    if (!std::filesystem::is_directory(std::filesystem::symlink_status(folder, error))) {
      submodule.state = Submodule::State::missing;
    } else if (std::filesystem::exists(folder / ".git", error) && rules.of(path) != "all") {
      submodule.state = Submodule::State::checkedOut;
      submodule.commit = expected;
      try {
        examine(submodule, folder, rules.of(path));
      } catch (const LibraryError& failure) {
        submodule.objection = reasonFor(failure.what());
      } catch (const UnsupportedRepositoryError& failure) {
        submodule.objection = failure.what();
      }
      if (submodule.objection) submodule.objection = fmt::format("{}: {}", repairUtf8(path), *submodule.objection);
    }
    submodules.push_back(std::move(submodule));
  }
  return submodules;
}

}  // namespace ravant::git
