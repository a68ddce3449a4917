#include "git/upstreams.hpp"

#include <fmt/format.h>

#include <string_view>

namespace ravant::git {
namespace {

constexpr std::string_view kThisRepository = ".";

}  // namespace

Upstreams::Upstreams(git_repository* repository) : repository_(repository) {
  const auto config = own<Config>([&](git_config** made) { return git_repository_config_snapshot(made, repository); });
  forEachEntry(config.get(), [&](std::string_view key, const char* value) {
    if (key.starts_with("branch.") || key.starts_with("remote.")) values_[std::string(key)].emplace_back(value);
  });
}

const Upstream* Upstreams::of(const git_reference* branch) {
  const std::string_view name = git_reference_name(branch);
  if (!name.starts_with(kLocalBranches)) return nullptr;
  const std::string_view shortName = name.substr(kLocalBranches.size());
  const auto& remotes = valuesOf(fmt::format("branch.{}.remote", shortName));
  const auto& merges = valuesOf(fmt::format("branch.{}.merge", shortName));
  if (remotes.empty() || merges.empty()) return nullptr;
  const std::string& remote = remotes.back();
  const std::string& merge = merges.front();  // as git takes the first of several
  const std::string tracking = remote == kThisRepository ? merge : trackingName(remote, merge);
  return tracking.empty() ? nullptr : lookUp(tracking);
}

const Upstream* Upstreams::lookUp(const std::string& tracking) {
  const auto [entry, isNew] = found_.try_emplace(tracking);
  auto& upstream = entry->second;
  if (isNew) {
    const auto reference = ownIfAny<Reference>(
        [&](git_reference** found) { return git_reference_lookup(found, repository_, tracking.c_str()); });
    if (const auto commit = tipOf(reference.get())) {
      upstream = Upstream{.name = git_reference_shorthand(reference.get()), .commit = *git_object_id(commit.get())};
    }
  }
  return upstream ? &*upstream : nullptr;
}

const std::vector<std::string>& Upstreams::valuesOf(const std::string& key) const {
  static const std::vector<std::string> kNone;
  const auto found = values_.find(key);
  return found != values_.end() ? found->second : kNone;
}

const std::vector<Refspec>& Upstreams::refspecsOf(const std::string& remote) {
  const auto [entry, isNew] = refspecs_.try_emplace(remote);
  if (!isNew) return entry->second;
  for (const std::string& value : valuesOf(fmt::format("remote.{}.fetch", remote))) {
    auto refspec = ownIfAny<Refspec>([&](git_refspec** made) { return git_refspec_parse(made, value.c_str(), 1); });
    if (refspec) entry->second.push_back(std::move(refspec));
  }
  return entry->second;
}

std::string Upstreams::trackingName(const std::string& remote, const std::string& merge) {
  for (const Refspec& refspec : refspecsOf(remote)) {
    if (git_refspec_src_matches(refspec.get(), merge.c_str()) != 1) continue;
    return textIfAny([&](git_buf* made) { return git_refspec_transform(made, refspec.get(), merge.c_str()); })
        .value_or("");
  }
  return {};
}

}  // namespace ravant::git
