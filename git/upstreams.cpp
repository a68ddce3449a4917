#include "git/upstreams.hpp"

#include <fmt/format.h>

#include <string_view>

namespace ravant::git {
namespace {

constexpr std::string_view kHeads = "refs/heads/";
constexpr std::string_view kThisRepository = ".";

}  // namespace

Upstreams::Upstreams(git_repository* repository)
    : repository_(repository),
      config_(own<Config>([&](git_config** made) { return git_repository_config_snapshot(made, repository); })) {}

Reference Upstreams::of(const git_reference* branch) {
  const std::string_view name = git_reference_name(branch);
  if (!name.starts_with(kHeads)) return nullptr;
  const std::string_view shortName = name.substr(kHeads.size());
  const std::string remote = text(fmt::format("branch.{}.remote", shortName));
  const std::string merge = text(fmt::format("branch.{}.merge", shortName));
  if (remote.empty() || merge.empty()) return nullptr;
  const std::string tracking = remote == kThisRepository ? merge : trackingName(remote, merge);
  if (tracking.empty()) return nullptr;
  return ownIfAny<Reference>(
      [&](git_reference** found) { return git_reference_lookup(found, repository_, tracking.c_str()); });
}

std::string Upstreams::text(const std::string& key) const {
  const char* value = nullptr;
  return git_config_get_string(&value, config_.get(), key.c_str()) == 0 ? value : "";
}

const std::vector<Refspec>& Upstreams::refspecsOf(const std::string& remote) {
  const auto [entry, isNew] = refspecs_.try_emplace(remote);
  if (!isNew) return entry->second;
  const auto iterator = ownIfAny<ConfigIterator>([&](git_config_iterator** made) {
    return git_config_multivar_iterator_new(made, config_.get(), fmt::format("remote.{}.fetch", remote).c_str(),
                                            nullptr);
  });
  git_config_entry* found = nullptr;
  while (iterator && git_config_next(&found, iterator.get()) == 0) {
    auto refspec = ownIfAny<Refspec>([&](git_refspec** made) { return git_refspec_parse(made, found->value, 1); });
    if (refspec) entry->second.push_back(std::move(refspec));
  }
  return entry->second;
}

std::string Upstreams::trackingName(const std::string& remote, const std::string& merge) {
  for (const Refspec& refspec : refspecsOf(remote)) {
    if (git_refspec_src_matches(refspec.get(), merge.c_str()) != 1) continue;
    git_buf transformed = GIT_BUF_INIT;
    std::string name;
    if (git_refspec_transform(&transformed, refspec.get(), merge.c_str()) == 0) name = transformed.ptr;
    git_buf_dispose(&transformed);
    return name;
  }
  return {};
}

}  // namespace ravant::git
