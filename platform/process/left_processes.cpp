#include "platform/process/left_processes.hpp"

#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <map>
#include <optional>
#include <set>
#include <utility>

namespace ravant {
namespace {

using Case = LeftProcessError::Case;

/// The program that started what carries these tokens, by the last of them; nothing where they are none.
std::optional<ProcessIdentity> starterOf(std::string_view tokens) {
  const std::size_t at = tokens.rfind('@');
  const std::size_t dot = at == std::string_view::npos ? at : tokens.find('.', at);
  if (dot == std::string_view::npos) return std::nullopt;
  ProcessIdentity starter;
  std::from_chars(tokens.data() + at + 1, tokens.data() + dot, starter.pid);
  std::from_chars(tokens.data() + dot + 1, tokens.data() + tokens.size(), starter.startTime);
  return starter;
}

bool isOfThisUser(pid_t pid) {
  struct stat status{};
  return ::stat(fmt::format("/proc/{}", pid).c_str(), &status) == 0 && status.st_uid == ::geteuid();
}

std::string commandOf(pid_t pid) {
  std::string words = processText(pid, "cmdline");
  while (words.ends_with('\0')) words.pop_back();
  std::ranges::replace(words, '\0', ' ');
  if (!words.empty()) return words;
  std::string name = processText(pid, "comm");
  if (name.ends_with('\n')) name.pop_back();
  return fmt::format("[{}]", name);
}

std::filesystem::path folderOf(pid_t pid) {
  std::error_code unknown;
  return std::filesystem::read_symlink(fmt::format("/proc/{}/cwd", pid), unknown);
}

/// All processes at one moment.
class Processes {
 public:
  Processes() {
    for (const ProcessRecords all = processRecords(); const ProcessRecord& record : all.records) {
      if (!record.isZombie) records_.emplace(record.identity.pid, record);
    }
    for (const auto& [pid, record] : records_) {
      if (pid == 1 || pid == ::getpid() || record.session == ::getsid(0) || !isOfThisUser(pid)) continue;
      if (const auto starter = starterOf(processVariable(pid, kProcessTokenVariable))) starters_.emplace(pid, *starter);
    }
  }

  const ProcessRecord* find(pid_t pid) const {
    const auto found = records_.find(pid);
    return found == records_.end() ? nullptr : &found->second;
  }
  bool isOurs(pid_t pid) const { return starters_.contains(pid); }

  /// The living Ravant that started it and on which it hangs, by its parents or those of its session's leader.
  const ProcessRecord* holderOf(pid_t pid) const {
    const auto starter = starters_.find(pid);
    const ProcessRecord* const ravant = starter == starters_.end() ? nullptr : find(starter->second.pid);
    if (ravant == nullptr || ravant->identity != starter->second) return nullptr;
    const ProcessRecord* const process = find(pid);
    return descendsFrom(*process, *ravant) || isLedFrom(*process, *ravant) ? ravant : nullptr;
  }

  /// Ours that nobody holds.
  std::vector<pid_t> left() const {
    std::vector<pid_t> pids;
    for (const auto& [pid, starter] : starters_) {
      if (holderOf(pid) == nullptr) pids.push_back(pid);
    }
    return pids;
  }

  std::size_t size() const { return records_.size(); }

 private:
  bool descendsFrom(const ProcessRecord& process, const ProcessRecord& ancestor) const {
    // As many steps as there are processes: the records are not of one moment, and could name each other.
    const ProcessRecord* at = &process;
    for (std::size_t steps = 0; at != nullptr && steps < records_.size(); ++steps, at = find(at->parent)) {
      if (at->parent == ancestor.identity.pid) return true;
    }
    return false;
  }
  bool isLedFrom(const ProcessRecord& process, const ProcessRecord& ancestor) const {
    const ProcessRecord* const leader = find(process.session);
    return leader != nullptr && leader != &process && descendsFrom(*leader, ancestor);
  }

  std::map<pid_t, ProcessRecord> records_;
  std::map<pid_t, ProcessIdentity> starters_;  ///< of those with a token
};

/// The one it is shown with: the first above it, by parents and leaders of sessions.
pid_t headOf(pid_t pid, const std::set<pid_t>& left, const Processes& processes) {
  pid_t head = pid;
  for (std::size_t steps = 0; steps < processes.size(); ++steps) {
    const ProcessRecord* const record = processes.find(head);
    if (left.contains(record->parent)) {
      head = record->parent;
    } else if (record->session != head && left.contains(record->session)) {
      head = record->session;
    } else {
      break;
    }
  }
  return head;
}

}  // namespace

std::vector<LeftProcess> leftProcesses() {
  const Processes processes;
  const std::vector<pid_t> pids = processes.left();
  const std::set<pid_t> left(pids.begin(), pids.end());
  std::map<pid_t, std::size_t> heads;
  for (const pid_t pid : pids) ++heads[headOf(pid, left, processes)];

  std::vector<LeftProcess> found;
  for (const auto& [pid, count] : heads) {
    const ProcessIdentity identity = processes.find(pid)->identity;
    found.push_back({.identity = identity,
                     .startedAt = timeOfStart(identity),
                     .folder = folderOf(pid),
                     .command = commandOf(pid),
                     .processes = count});
  }
  std::ranges::sort(found, {}, [](const LeftProcess& process) {
    return std::pair(process.identity.startTime, process.identity.pid);
  });
  return found;
}

awaitable<TreeEnd> endLeftProcess(pid_t pid) {
  const Processes processes;
  const ProcessRecord* const process = processes.find(pid);
  if (process == nullptr) throw LeftProcessError(Case::unknown, fmt::format("there is no process {}", pid));
  if (!processes.isOurs(pid)) {
    throw LeftProcessError(Case::notOurs, fmt::format("the process {} was not started by an agent of yours", pid));
  }
  if (const ProcessRecord* const holder = processes.holderOf(pid)) {
    throw LeftProcessError(
        Case::inUse, fmt::format("the process {} belongs to a Ravant that is running, the process {}; end it there",
                                 pid, holder->identity.pid));
  }
  const ProcessTree tree{.root = process->identity, .token = {}};
  for (const ProcessIdentity& other : liveProcesses({tree})) {
    const ProcessRecord* const holder = processes.holderOf(other.pid);
    if (holder == nullptr || holder->identity.pid == pid) continue;
    throw LeftProcessError(
        Case::inUse, fmt::format("in the process {} runs another Ravant with agents, the process {}; end that first",
                                 pid, holder->identity.pid));
  }
  const auto end = co_await endTrees({tree});
  co_return end;
}

}  // namespace ravant
