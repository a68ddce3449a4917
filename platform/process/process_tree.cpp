#include "platform/process/process_tree.hpp"

#include <signal.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <boost/asio/as_tuple.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/this_coro.hpp>
#include <charconv>
#include <chrono>
#include <functional>
#include <limits>
#include <map>
#include <set>
#include <system_error>
#include <thread>

#include "platform/log/log.hpp"
#include "platform/process/descriptors.hpp"

namespace ravant {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr Log kLog("com.ravant.platform", "ProcessTree");

constexpr auto kTimeToTerminate = 1500ms;
constexpr auto kTimeToEnd = 2900ms;
constexpr auto kPauseTerminating = 20ms;
constexpr std::chrono::milliseconds kFirstPauseKilling = 1ms;  // each is twice as long as the one before
constexpr std::chrono::milliseconds kPauseKilling = 5ms;
constexpr int kEmptyWalks = 2;

bool hasNumber(const ProcessRecord& record, pid_t session) {
  return record.session == session || record.group == session;
}

bool answersTermination(const ProcessIdentity& process) {
  const auto record = processRecord(process.pid);
  if (!record || record->identity != process || record->isZombie || record->state == 'T') return false;
  const std::string status = processText(process.pid, "status");
  constexpr std::string_view kIgnored = "\nSigIgn:\t";
  const std::size_t found = status.find(kIgnored);
  if (found == std::string::npos) return false;
  const std::string_view digits = std::string_view(status).substr(found + kIgnored.size(), 16);
  std::uint64_t mask = 0;
  std::from_chars(digits.data(), digits.data() + digits.size(), mask, 16);
  return (mask >> (SIGTERM - 1) & 1) == 0;
}

void send(int signal, const std::vector<ProcessIdentity>& processes) {
  for (const ProcessIdentity& process : processes) {
    const UniqueFd descriptor =
        openFromReserve([&] { return static_cast<int>(::syscall(SYS_pidfd_open, process.pid, 0)); });
    // From here on the descriptor stands for one process, whatever becomes of its pid.
    if (!descriptor || processIdentity(process.pid) != process) continue;
    ::syscall(SYS_pidfd_send_signal, descriptor.get(), signal, nullptr, 0);
  }
}

using Identities = std::set<ProcessIdentity>;

/// What hangs on the roots, or what has detached itself from them.
enum class Part { attached, detached };

/// Nothing that is older than all of the roots can have a token of theirs.
std::uint64_t startOfFirst(const std::vector<ProcessTree>& trees) {
  std::uint64_t first = std::numeric_limits<std::uint64_t>::max();
  for (const ProcessTree& tree : trees) first = std::min(first, tree.root ? tree.root->startTime : 0);
  return first;
}

/// The tokens of processes, each read once.
class Tokens {
 public:
  explicit Tokens(std::uint64_t since) : since_(since) {}

  bool has(const ProcessRecord& record, const ProcessTree& tree) {
    return !tree.token.empty() && of(record).contains(tree.token);
  }
  /// Whether one had no environment to be found by, as it is with a process that is just becoming another program.
  bool wereHidden() const { return wereHidden_; }

 private:
  const std::string& of(const ProcessRecord& record) {
    const auto [found, isNew] = known_.try_emplace(record.identity.pid);
    if (!isNew || record.identity.startTime < since_) return found->second;
    const std::string environment = processText(record.identity.pid, "environ");
    wereHidden_ |= environment.empty();
    return found->second = variableOf(environment, kProcessTokenVariable);
  }

  std::uint64_t since_;
  std::map<pid_t, std::string> known_;
  bool wereHidden_ = false;
};

/// The running processes of trees.
class TreeWalk {
 public:
  /// Of the part that is `known` are those too that nothing shows to belong to it any more, such as an orphan whose
  /// parent was ended.
  TreeWalk(const std::vector<ProcessTree>& trees, const Identities& known, Part part)
      : tokens_(startOfFirst(trees)), processes_(processRecords()), others_(records_) {
    std::erase_if(others_, [self = ::getpid(), session = ::getsid(0)](const ProcessRecord& record) {
      return record.isZombie || record.identity.pid == 1 || record.identity.pid == self || record.session == session;
    });
    const auto isKnown = [&](const ProcessRecord& record, Part as) {
      return part == as && known.contains(record.identity);
    };
    attached_ = take([&](const ProcessRecord& record) {
      return isKnown(record, Part::attached) || std::ranges::any_of(trees, [&](const ProcessTree& tree) {
               return tree.root && isOfSession(record, tree, known);
             });
    });
    takeDescendants(attached_);
    leaveAlone(trees);
    detached_ = take([&](const ProcessRecord& record) {
      return isKnown(record, Part::detached) || treeOf(record, trees) != nullptr;
    });
    takeDescendants(detached_);
  }

  /// Whether something may belong to the trees that was not taken for a part of them.
  bool mayLackOne() const { return processes_.hasLostOne || tokens_.wereHidden(); }

  std::vector<ProcessIdentity> detached() const { return identitiesOf(detached_); }
  std::vector<ProcessIdentity> all() const {
    std::vector<ProcessIdentity> identities = identitiesOf(attached_);
    std::ranges::move(detached(), std::back_inserter(identities));
    return identities;
  }

 private:
  using Records = std::vector<ProcessRecord>;

  static std::vector<ProcessIdentity> identitiesOf(const Records& records) {
    std::vector<ProcessIdentity> identities;
    for (const ProcessRecord& record : records) identities.push_back(record.identity);
    return identities;
  }

  /// The members of a session keep its number from being used again, so it stands for another one only if its leader is
  /// another process, or was one.
  bool isOfSession(const ProcessRecord& record, const ProcessTree& tree, const Identities& known) {
    const ProcessIdentity& root = *tree.root;
    if (record.identity == root) return true;
    if (!hasNumber(record, root.pid)) return false;
    const auto leader = std::ranges::find(records_, root.pid, [](const auto& other) { return other.identity.pid; });
    if (leader != records_.end()) return leader->identity == root;
    return !tree.isOfAnother || std::ranges::any_of(records_, [&](const ProcessRecord& member) {
      return hasNumber(member, root.pid) && (known.contains(member.identity) || tokens_.has(member, tree));
    });
  }

  const ProcessTree* treeOf(const ProcessRecord& record, const std::vector<ProcessTree>& trees) {
    const auto tree = std::ranges::find_if(trees, [&](const ProcessTree& other) { return tokens_.has(record, other); });
    return tree == trees.end() ? nullptr : &*tree;
  }

  Records take(const std::function<bool(const ProcessRecord&)>& belongs) {
    Records taken;
    std::erase_if(others_, [&](const ProcessRecord& record) {
      if (!belongs(record)) return false;
      taken.push_back(record);
      return true;
    });
    return taken;
  }

  void takeDescendants(Records& family) {
    std::set<pid_t> pids;
    for (Records latest = family; !latest.empty();) {
      for (const ProcessRecord& record : latest) pids.insert(record.identity.pid);
      latest = take([&](const ProcessRecord& record) { return pids.contains(record.parent); });
      family.insert(family.end(), latest.begin(), latest.end());
    }
  }

  /// Without a root it cannot be told what has detached itself from it.
  void leaveAlone(const std::vector<ProcessTree>& trees) {
    const bool isAnyLeft =
        std::ranges::any_of(trees, [](const ProcessTree& tree) { return tree.root && tree.detachedUntil; });
    if (!isAnyLeft) return;
    Records left = take([&](const ProcessRecord& record) {
      const ProcessTree* const tree = treeOf(record, trees);
      return tree != nullptr && tree->root && record.identity.startTime <= tree->detachedUntil.value_or(0);
    });
    std::set<pid_t> sessions;
    for (const ProcessRecord& record : left) sessions.insert(record.session);
    const Records others = take([&](const ProcessRecord& record) { return sessions.contains(record.session); });
    left.insert(left.end(), others.begin(), others.end());
    takeDescendants(left);
  }

  Tokens tokens_;
  ProcessRecords processes_;
  const Records& records_ = processes_.records;
  Records others_;  ///< that belong to nothing yet
  Records attached_;
  Records detached_;
};

/// The steps of ending processes; the caller decides how to wait between them.
class Ending {
 public:
  enum class Extent { all, detached };

  Ending(std::vector<ProcessTree> trees, Extent extent, Termination termination)
      : trees_(std::move(trees)), extent_(extent) {
    if (termination == Termination::atOnce) return;
    tryTo([this] {
      asked_ = find();
      send(SIGTERM, asked_);
    });
  }

  /// The time until the next step; nothing when it is over.
  std::optional<std::chrono::milliseconds> step() {
    const auto elapsed = Clock::now() - start_;
    if (!asked_.empty()) {
      tryTo([this] {
        std::erase_if(asked_, [](const ProcessIdentity& process) { return !answersTermination(process); });
      });
      if (!asked_.empty() && elapsed < kTimeToTerminate) return kPauseTerminating;
      asked_.clear();
    }
    const bool isSeen = tryTo([this] {
      const auto left = find();
      emptyWalks_ = left.empty() ? emptyWalks_ + 1 : 0;
      send(SIGKILL, left);
    });
    if (!isSeen) emptyWalks_ = 0;
    const bool isOver = emptyWalks_ == kEmptyWalks || (emptyWalks_ > 0 && !mayLackOne_);
    if (isOver || elapsed >= kTimeToEnd) return std::nullopt;
    if (!isSeen) return kPauseTerminating;
    return emptyWalks_ > 0 ? kPauseKilling : std::exchange(pause_, std::min(2 * pause_, kPauseKilling));
  }

  TreeEnd result() const { return emptyWalks_ > 0 ? TreeEnd::complete : TreeEnd::survivorsLeft; }

 private:
  std::vector<ProcessIdentity> find() {
    const bool isAll = extent_ == Extent::all;
    const TreeWalk walk(trees_, found_, isAll ? Part::attached : Part::detached);
    auto processes = isAll ? walk.all() : walk.detached();
    mayLackOne_ = walk.mayLackOne();
    found_.insert(processes.begin(), processes.end());
    return processes;
  }

  /// False where the processes cannot be looked at.
  template <class Look>
  bool tryTo(Look look) {
    try {
      look();
      return true;
    } catch (const std::system_error& error) {
      if (!std::exchange(isReported_, true)) kLog.error("the processes cannot be looked at: {}", error.what());
      return false;
    }
  }

  std::vector<ProcessTree> trees_;
  Extent extent_;
  Identities found_;
  Clock::time_point start_ = Clock::now();
  std::vector<ProcessIdentity> asked_;
  int emptyWalks_ = 0;
  bool mayLackOne_ = true;  ///< the last walk
  std::chrono::milliseconds pause_ = kFirstPauseKilling;
  bool isReported_ = false;
};

awaitable<TreeEnd> end(Ending ending) {
  asio::steady_timer timer(co_await asio::this_coro::executor);
  while (const auto pause = ending.step()) {
    timer.expires_after(*pause);
    co_await timer.async_wait(asio::as_tuple(use_awaitable));
  }
  co_return ending.result();
}

}  // namespace

std::vector<ProcessIdentity> liveProcesses(const std::vector<ProcessTree>& trees) {
  return TreeWalk(trees, {}, Part::attached).all();
}

awaitable<TreeEnd> endTrees(std::vector<ProcessTree> trees) {
  return end(Ending(std::move(trees), Ending::Extent::all, Termination::askedFirst));
}

TreeEnd endTreesBlocking(const std::vector<ProcessTree>& trees, Termination termination) {
  Ending ending(trees, Ending::Extent::all, termination);
  while (const auto pause = ending.step()) std::this_thread::sleep_for(*pause);
  return ending.result();
}

awaitable<TreeEnd> endDetached(std::vector<ProcessTree> trees) {
  return end(Ending(std::move(trees), Ending::Extent::detached, Termination::askedFirst));
}

}  // namespace ravant
