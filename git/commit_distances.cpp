#include "git/commit_distances.hpp"

#include <algorithm>
#include <bit>
#include <cstring>
#include <fstream>
#include <limits>
#include <queue>
#include <span>
#include <string>
#include <unordered_map>

namespace ravant::git {
namespace {

struct OidHash {
  std::size_t operator()(const git_oid& id) const {
    std::size_t hash = 0;
    std::memcpy(&hash, id.id, sizeof(hash));
    return hash;
  }
};
struct OidEqual {
  bool operator()(const git_oid& one, const git_oid& other) const { return git_oid_equal(&one, &other) != 0; }
};

constexpr std::size_t kPairsInAWalk = 64;

/// Which pairs of a walk reach a commit, a bit each: from their local commit, and from their upstream.
struct Reach {
  std::uint64_t local = 0;
  std::uint64_t upstream = 0;

  /// Whether no pair reaches it from one side only.
  bool isCommon() const { return local == upstream; }
  void add(const Reach& other) {
    local |= other.local;
    upstream |= other.upstream;
  }
  bool operator==(const Reach&) const = default;
};

struct Commit {
  git_oid id;
  std::int64_t time = 0;  // seconds
  std::vector<std::size_t> parents;
  bool isCut = false;  ///< the history ends here (gitrepository-layout(5), shallow)
  bool isRead = false;
  bool isWaiting = false;
  Reach reach;
};

class History {
 public:
  explicit History(git_repository* repository) : repository_(repository) {
    std::ifstream cuts(std::string(git_repository_commondir(repository)) + "shallow");
    for (std::string line; std::getline(cuts, line);) {
      git_oid id;
      if (git_oid_fromstr(&id, line.c_str()) == 0) commits_[numberOf(id)].isCut = true;
    }
  }

  /// The distances of at most `kPairsInAWalk` pairs. Throws `LibraryError`, after which another walk can be made.
  std::vector<CommitDistance> walk(std::span<const CommitPair> pairs) {
    forgetReach();
    for (std::size_t i = 0; i < pairs.size(); ++i) {
      reach(numberOf(pairs[i].local), {.local = std::uint64_t{1} << i, .upstream = 0});
      reach(numberOf(pairs[i].upstream), {.local = 0, .upstream = std::uint64_t{1} << i});
    }
    while (uncommon_ > 0) step(std::numeric_limits<std::int64_t>::min());
    // A commit whose clock was wrong can have had its turn too late: those that were reached before it from one side
    // are looked for behind it, as far back as there are any.
    const std::int64_t oldest = oldestUncommon();
    while (!waiting_.empty()) step(oldest);
    std::vector<CommitDistance> distances(pairs.size());
    for (const std::size_t number : reached_) {
      const Reach reach = commits_[number].reach;
      for (auto ahead = reach.local & ~reach.upstream; ahead != 0; ahead &= ahead - 1) {
        ++distances[static_cast<std::size_t>(std::countr_zero(ahead))].ahead;
      }
      for (auto behind = reach.upstream & ~reach.local; behind != 0; behind &= behind - 1) {
        ++distances[static_cast<std::size_t>(std::countr_zero(behind))].behind;
      }
    }
    return distances;
  }

 private:
  void forgetReach() {
    for (const std::size_t number : reached_) {
      commits_[number].reach = {};
      commits_[number].isWaiting = false;
    }
    reached_.clear();
    waiting_ = {};
    uncommon_ = 0;
  }

  std::size_t numberOf(const git_oid& id) {
    const auto [entry, isNew] = numbers_.try_emplace(id, commits_.size());
    if (isNew) commits_.push_back({.id = id});
    return entry->second;
  }

  const Commit& read(std::size_t number) {
    if (commits_[number].isRead) return commits_[number];
    git_commit* found = nullptr;
    check(git_commit_lookup(&found, repository_, &commits_[number].id));
    const std::unique_ptr<git_commit, Free<git_commit_free>> commit(found);
    std::vector<std::size_t> parents;
    const unsigned int count = commits_[number].isCut ? 0 : git_commit_parentcount(found);
    for (unsigned int i = 0; i < count; ++i) parents.push_back(numberOf(*git_commit_parent_id(found, i)));
    commits_[number].time = git_commit_time(found);
    commits_[number].parents = std::move(parents);
    commits_[number].isRead = true;
    return commits_[number];
  }

  std::int64_t oldestUncommon() const {
    std::int64_t oldest = std::numeric_limits<std::int64_t>::max();
    for (const std::size_t number : reached_) {
      if (!commits_[number].reach.isCommon()) oldest = std::min(oldest, commits_[number].time);
    }
    return oldest;
  }

  void reach(std::size_t number, const Reach& from) {
    read(number);
    Commit& commit = commits_[number];
    Reach now = commit.reach;
    now.add(from);
    if (now == commit.reach) return;
    if (commit.reach == Reach{}) reached_.push_back(number);
    const bool wasUncommon = commit.isWaiting && !commit.reach.isCommon();
    commit.reach = now;
    uncommon_ += static_cast<std::size_t>(!now.isCommon()) - static_cast<std::size_t>(wasUncommon);
    if (commit.isWaiting) return;
    commit.isWaiting = true;
    waiting_.emplace(commit.time, number);
  }

  /// Goes from the youngest of the commits that wait to its parents: those that were reached before, and those that are
  /// no older than `oldest`. A commit that is reached anew when it has had its turn waits again.
  void step(std::int64_t oldest) {
    const std::size_t number = waiting_.top().second;
    waiting_.pop();
    commits_[number].isWaiting = false;
    const Reach reached = commits_[number].reach;
    if (!reached.isCommon()) --uncommon_;
    for (std::size_t i = 0; i < commits_[number].parents.size(); ++i) {
      const std::size_t parent = commits_[number].parents[i];
      if (commits_[parent].reach != Reach{} || read(parent).time >= oldest) reach(parent, reached);
    }
  }

  git_repository* repository_;
  std::vector<Commit> commits_;
  std::unordered_map<git_oid, std::size_t, OidHash, OidEqual> numbers_;
  std::vector<std::size_t> reached_;  ///< in the walk
  std::priority_queue<std::pair<std::int64_t, std::size_t>> waiting_;
  std::size_t uncommon_ = 0;  ///< of those that wait
};

using Counted = std::expected<CommitDistance, LibraryError>;

/// By a walk of its own.
Counted counted(History& history, const CommitPair& pair) {
  try {
    return history.walk({&pair, 1}).front();
  } catch (const LibraryError& error) {
    return std::unexpected(error);
  }
}

}  // namespace

std::vector<std::expected<CommitDistance, LibraryError>> commitDistances(git_repository* repository,
                                                                         const std::vector<CommitPair>& pairs) {
  History history(repository);
  std::vector<Counted> distances;
  for (std::size_t i = 0; i < pairs.size(); i += kPairsInAWalk) {
    const auto together = std::span(pairs).subspan(i, std::min(kPairsInAWalk, pairs.size() - i));
    try {
      for (const CommitDistance& distance : history.walk(together)) distances.emplace_back(distance);
    } catch (const LibraryError&) {
      for (const CommitPair& pair : together) distances.push_back(counted(history, pair));
    }
  }
  return distances;
}

}  // namespace ravant::git
