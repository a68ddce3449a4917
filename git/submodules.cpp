#include "git/submodules.hpp"

#include <algorithm>
#include <map>

#include "git/changes.hpp"
#include "git/opened_repository.hpp"
#include "git/unsupported_repository.hpp"

namespace ravant::git {
namespace {

/// What "submodule.<name>.<key>" says, by name.
std::map<std::string, std::string> valuesOf(git_config* config, std::string_view key) {
  std::map<std::string, std::string> values;
  const auto iterator =
      ownIfAny<ConfigIterator>([&](git_config_iterator** made) { return git_config_iterator_new(made, config); });
  git_config_entry* entry = nullptr;
  while (iterator && git_config_next(&entry, iterator.get()) == 0) {
    std::string_view name = entry->name;
    constexpr std::string_view kSection = "submodule.";
    if (!name.starts_with(kSection) || entry->value == nullptr) continue;
    name.remove_prefix(kSection.size());
    const std::size_t end = name.rfind('.');
    if (end != std::string_view::npos && name.substr(end + 1) == key) {
      values[std::string(name.substr(0, end))] = entry->value;
    }
  }
  return values;
}

/// The settings `ignore` of submodules, by their paths; what the repository's own configuration says comes first.
std::map<std::string, std::string> ignoreRules(git_repository* repository) {
  std::map<std::string, std::string> rules;
  const std::string file = std::string(git_repository_workdir(repository)) + ".gitmodules";
  const auto modules =
      ownIfAny<Config>([&](git_config** opened) { return git_config_open_ondisk(opened, file.c_str()); });
  if (!modules) return rules;
  std::map<std::string, std::string> byName = valuesOf(modules.get(), "ignore");
  const auto config = own<Config>([&](git_config** found) { return git_repository_config(found, repository); });
  for (auto& [name, rule] : valuesOf(config.get(), "ignore")) byName[name] = rule;
  for (const auto& [name, path] : valuesOf(modules.get(), "path")) {
    if (const auto rule = byName.find(name); rule != byName.end()) rules[path] = rule->second;
  }
  return rules;
}

bool hasChanges(const OpenedRepository& submodule, bool untrackedCount) {
  const auto unstaged = unstagedChanges(submodule).value;
  return std::ranges::any_of(unstaged,
                             [&](const GitFileChange& change) {
                               return untrackedCount || change.status != GitFileStatus::untracked;
                             }) ||
         !stagedChanges(submodule, submodule.get()).value.empty();
}

bool differs(const std::filesystem::path& folder, const git_oid& commit, const std::string& rule) {
  std::error_code error;
  if (rule == "all" || !std::filesystem::exists(folder / ".git", error)) return false;  // there is none yet
  const OpenedRepository submodule(folder);
  const auto head =
      ownIfAny<Reference>([&](git_reference** found) { return git_repository_head(found, submodule.get()); });
  const Object tip = tipOf(head.get());
  if (!tip || git_oid_equal(git_object_id(tip.get()), &commit) == 0) return true;
  return rule != "dirty" && hasChanges(submodule, rule != "untracked");
}

}  // namespace

std::vector<std::string> changedSubmodules(const OpenedRepository& repository, const FreshIndex& index) {
  std::vector<std::string> changed;
  const auto submodules = index.submodules(repository.prefix());
  if (submodules.empty()) return changed;
  const std::map<std::string, std::string> rules = ignoreRules(repository.get());
  for (const auto& [path, commit] : submodules) {
    const auto rule = rules.find(path);
    const std::filesystem::path folder = git_repository_workdir(repository.get()) + path;
    if (differs(folder, commit, rule == rules.end() ? "none" : rule->second)) changed.push_back(path);
  }
  return changed;
}

}  // namespace ravant::git
