#include "platform/process/process_tree.hpp"

#include <dirent.h>
#include <fcntl.h>
#include <fmt/format.h>
#include <signal.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <boost/asio/as_tuple.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/this_coro.hpp>
#include <charconv>
#include <chrono>
#include <cstdlib>
#include <memory>
#include <set>
#include <thread>

#include "platform/process/unique_fd.hpp"

namespace ravant {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr auto kTimeToTerminate = 1500ms;
constexpr auto kTimeToEnd = 2900ms;
constexpr auto kPauseTerminating = 20ms;
constexpr auto kPauseKilling = 5ms;
// A process that is just becoming another program has no environment to be found by.
constexpr int kEmptyWalks = 2;

struct ProcessRecord {
  ProcessIdentity identity;
  pid_t parent = 0;
  pid_t group = 0;
  pid_t session = 0;
  char state = 0;
  bool isZombie = false;
};

std::string contentsOf(pid_t pid, std::string_view name) {
  const UniqueFd file(::open(fmt::format("/proc/{}/{}", pid, name).c_str(), O_RDONLY | O_CLOEXEC));
  std::string contents;
  std::array<char, 16 * 1024> piece;
  for (ssize_t count = 0; file && (count = ::read(file.get(), piece.data(), piece.size())) > 0;) {
    contents.append(piece.data(), static_cast<std::size_t>(count));
  }
  return contents;
}

template <class Number>
Number parsed(std::string_view text, int base = 10) {
  Number number = 0;
  std::from_chars(text.data(), text.data() + text.size(), number, base);
  return number;
}

std::optional<ProcessRecord> readRecord(pid_t pid) {
  const std::string stat = contentsOf(pid, "stat");
  // The name in parentheses may itself hold blanks and parentheses.
  const std::size_t nameEnd = stat.rfind(") ");
  if (nameEnd == std::string::npos) return std::nullopt;

  std::array<std::string_view, 20> fields;  // from the third of proc(5) on
  std::string_view rest = std::string_view(stat).substr(nameEnd + 2);
  for (std::string_view& field : fields) {
    field = rest.substr(0, rest.find(' '));
    rest.remove_prefix(std::min(rest.size(), field.size() + 1));
  }

  ProcessRecord record;
  record.identity = {pid, parsed<std::uint64_t>(fields[19])};
  record.state = fields[0].empty() ? 'X' : fields[0].front();
  record.parent = parsed<pid_t>(fields[1]);
  record.group = parsed<pid_t>(fields[2]);
  record.session = parsed<pid_t>(fields[3]);
  // The first thread of a running program can have ended before the others.
  const bool hasThreads = parsed<int>(fields[17]) > 1;
  record.isZombie = (record.state == 'Z' && !hasThreads) || record.state == 'X';
  return record;
}

std::vector<ProcessRecord> allRecords() {
  std::vector<ProcessRecord> records;
  const std::unique_ptr<DIR, decltype([](DIR* folder) { ::closedir(folder); })> proc(::opendir("/proc"));
  while (const dirent* entry = proc ? ::readdir(proc.get()) : nullptr) {
    const auto pid = parsed<pid_t>(entry->d_name);
    if (pid <= 0) continue;
    if (const auto record = readRecord(pid)) records.push_back(*record);
  }
  return records;
}

bool carriesToken(pid_t pid, const std::vector<ProcessTree>& trees) {
  const std::string environment = contentsOf(pid, "environ");
  std::string_view rest = environment;
  while (!rest.empty()) {
    const std::string_view variable = rest.substr(0, rest.find('\0'));
    if (variable.starts_with(kProcessTokenVariable)) {
      return std::ranges::any_of(
          trees, [&](const ProcessTree& tree) { return !tree.token.empty() && variable.contains(tree.token); });
    }
    rest.remove_prefix(std::min(rest.size(), variable.size() + 1));
  }
  return false;
}

/// The members of a session keep its number from being used again, so it stands for another one only if its leader is
/// another process.
bool isOfSession(const ProcessRecord& record, const ProcessIdentity& root, const std::vector<ProcessRecord>& records) {
  if (record.identity == root) return true;
  if (record.session != root.pid && record.group != root.pid) return false;
  const auto leader = std::ranges::find(records, root.pid, [](const auto& other) { return other.identity.pid; });
  return leader == records.end() || leader->identity == root;
}

bool answersTermination(const ProcessIdentity& process) {
  const auto record = readRecord(process.pid);
  if (!record || record->identity != process || record->isZombie || record->state == 'T') return false;
  const std::string status = contentsOf(process.pid, "status");
  constexpr std::string_view kIgnored = "\nSigIgn:\t";
  const std::size_t found = status.find(kIgnored);
  if (found == std::string::npos) return false;
  const auto mask = parsed<std::uint64_t>(std::string_view(status).substr(found + kIgnored.size(), 16), 16);
  return (mask >> (SIGTERM - 1) & 1) == 0;
}

void send(int signal, const std::vector<ProcessIdentity>& processes) {
  for (const ProcessIdentity& process : processes) {
    const UniqueFd descriptor(static_cast<int>(::syscall(SYS_pidfd_open, process.pid, 0)));
    // From here on the descriptor stands for one process, whatever becomes of its pid.
    if (!descriptor || processIdentity(process.pid) != process) continue;
    ::syscall(SYS_pidfd_send_signal, descriptor.get(), signal, nullptr, 0);
  }
}

/// The steps of ending trees; the caller decides how to wait between them.
class TreeEnding {
 public:
  explicit TreeEnding(std::vector<ProcessTree> trees) : trees_(std::move(trees)), asked_(liveProcesses(trees_)) {
    send(SIGTERM, asked_);
  }

  /// The time until the next step; nothing when it is over.
  std::optional<std::chrono::milliseconds> step() {
    const auto elapsed = Clock::now() - start_;
    if (!asked_.empty()) {
      std::erase_if(asked_, [](const ProcessIdentity& process) { return !answersTermination(process); });
      if (!asked_.empty() && elapsed < kTimeToTerminate) return kPauseTerminating;
      asked_.clear();
    }
    const auto left = liveProcesses(trees_);
    emptyWalks_ = left.empty() ? emptyWalks_ + 1 : 0;
    if (emptyWalks_ == kEmptyWalks || elapsed >= kTimeToEnd) return std::nullopt;
    send(SIGKILL, left);
    return kPauseKilling;
  }

  TreeEnd result() const { return emptyWalks_ > 0 ? TreeEnd::complete : TreeEnd::survivorsLeft; }

 private:
  std::vector<ProcessTree> trees_;
  Clock::time_point start_ = Clock::now();
  std::vector<ProcessIdentity> asked_;
  int emptyWalks_ = 0;
};

}  // namespace

std::optional<ProcessIdentity> processIdentity(pid_t pid) {
  const auto record = readRecord(pid);
  return record ? std::optional(record->identity) : std::nullopt;
}

std::vector<ProcessIdentity> liveProcesses(const std::vector<ProcessTree>& trees) {
  std::vector<ProcessRecord> records = allRecords();
  std::vector<ProcessRecord> others = records;
  std::erase_if(others, [self = ::getpid(), session = ::getsid(0)](const ProcessRecord& record) {
    return record.isZombie || record.identity.pid == 1 || record.identity.pid == self || record.session == session;
  });

  std::set<pid_t> pids;
  std::vector<ProcessIdentity> found;
  const auto take = [&](auto belongs) {
    return std::erase_if(others, [&](const ProcessRecord& record) {
      if (!belongs(record)) return false;
      pids.insert(record.identity.pid);
      found.push_back(record.identity);
      return true;
    });
  };
  take([&](const ProcessRecord& record) {
    return std::ranges::any_of(
        trees, [&](const ProcessTree& tree) { return tree.root && isOfSession(record, *tree.root, records); });
  });
  take([&](const ProcessRecord& record) { return carriesToken(record.identity.pid, trees); });
  while (take([&](const ProcessRecord& record) { return pids.contains(record.parent); }) > 0) {
  }
  return found;
}

awaitable<TreeEnd> endTrees(std::vector<ProcessTree> trees) {
  TreeEnding ending(std::move(trees));
  asio::steady_timer timer(co_await asio::this_coro::executor);
  while (const auto pause = ending.step()) {
    timer.expires_after(*pause);
    co_await timer.async_wait(asio::as_tuple(use_awaitable));
  }
  co_return ending.result();
}

TreeEnd endTreesBlocking(const std::vector<ProcessTree>& trees) {
  TreeEnding ending(trees);
  while (const auto pause = ending.step()) std::this_thread::sleep_for(*pause);
  return ending.result();
}

}  // namespace ravant
