#pragma once

#include <sys/types.h>

#include <compare>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/async/async.hpp"

namespace ravant {

/// The variable in a child's environment that holds its token, behind those of the programs around it, parted by ':'.
inline constexpr std::string_view kProcessTokenVariable = "RAVANT_PROCESS";

/// A process for as long as the machine runs: a pid is used again, but not with the same start time.
struct ProcessIdentity {
  pid_t pid = 0;
  std::uint64_t startTime = 0;  ///< in clock ticks since boot: proc(5), stat, field 22

  auto operator<=>(const ProcessIdentity&) const = default;
};

/// Nothing when there is no such process. A zombie still has its identity.
std::optional<ProcessIdentity> processIdentity(pid_t pid);

/// A child and everything that came from it: its descendants, the members of its session and process group, and,
/// wherever they went, the processes with its token in their environment, with their descendants.
struct ProcessTree {
  std::optional<ProcessIdentity> root;  ///< started as leader of a session of its own
  std::string token;
};

/// What of the trees is running (zombies are not). Never pid 1, this process, or a member of its session.
std::vector<ProcessIdentity> liveProcesses(const std::vector<ProcessTree>& trees);

enum class TreeEnd { complete, survivorsLeft };

/// Ends the trees: SIGTERM to all of it; once only processes are left that ignore it, at the latest after 1.5 s,
/// SIGKILL, again and again until nothing new is found. Done within 3 s, with survivors only where the kernel or the
/// lack of permission keeps a process alive. Does not reap.
awaitable<TreeEnd> endTrees(std::vector<ProcessTree> trees);

/// The same for a program's start, before its executors run: blocks the calling thread.
TreeEnd endTreesBlocking(const std::vector<ProcessTree>& trees);

}  // namespace ravant
