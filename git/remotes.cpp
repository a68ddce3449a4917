#include "git/remotes.hpp"

#include <algorithm>
#include <string_view>

namespace ravant::git {
namespace {

constexpr std::string_view kRemote = "remote.";
constexpr std::string_view kUrl = ".url";

/// Whether it would reach git as the option that it looks like.
bool looksLikeOption(std::string_view name) { return name.starts_with('-'); }

/// As git rewrites it (git-config(1), url.*.insteadOf).
std::string rewritten(git_repository* repository, const char* url) {
  using Remote = std::unique_ptr<git_remote, Free<git_remote_free>>;
  const auto remote =
      ownIfAny<Remote>([&](git_remote** made) { return git_remote_create_anonymous(made, repository, url); });
  const char* other = remote ? git_remote_url(remote.get()) : nullptr;
  return other != nullptr ? other : url;
}

}  // namespace

std::vector<GitRemote> readRemotes(git_repository* repository) {
  std::vector<GitRemote> remotes;
  const auto config = own<Config>([&](git_config** made) { return git_repository_config_snapshot(made, repository); });
  forEachEntry(config.get(), [&](std::string_view key, const char* value) {
    if (!key.starts_with(kRemote) || !key.ends_with(kUrl) || key.size() <= kRemote.size() + kUrl.size()) return;
    const std::string name(key.substr(kRemote.size(), key.size() - kRemote.size() - kUrl.size()));
    // Of several addresses git fetches from the first.
    if (looksLikeOption(name) || std::ranges::count(remotes, name, &GitRemote::name) > 0) return;
    remotes.push_back({.name = name, .url = value, .rewrittenUrl = rewritten(repository, value)});
  });
  return remotes;
}

}  // namespace ravant::git
