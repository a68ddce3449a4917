#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/async/async.hpp"
#include "platform/process/process_record.hpp"

namespace ravant {

/// The variable in a child's environment that holds its token, behind those of the programs around it, parted by ':'.
/// Each is followed by '@' and the program that started the child: its pid, '.' and its start time.
inline constexpr std::string_view kProcessTokenVariable = "RAVANT_PROCESS";

/// A child and everything that came from it: its descendants, the members of its session and process group, and,
/// wherever they went, the processes with its token in their environment, with their descendants.
struct ProcessTree {
  std::optional<ProcessIdentity> root;  ///< started as leader of a session of its own
  std::string token;
  /// What had detached itself when this tick since boot was over is no part of the tree, nor what hangs on it: what is
  /// in another session than the root and descends from nothing that is in the root's.
  std::optional<std::uint64_t> detachedUntil = {};
  /// Of a program that is no more: nobody has seen the root end, and its pid can be another's by now. Once it is gone,
  /// a session with its number belongs to the tree only with a member that has the token.
  bool isOfAnother = false;
};

/// What of the trees is running (zombies are not). Never pid 1, this process, or a member of its session. Throws
/// std::system_error where the processes cannot be looked at.
std::vector<ProcessIdentity> liveProcesses(const std::vector<ProcessTree>& trees);

/// `survivorsLeft` as well where nobody could see whether something is left.
enum class TreeEnd { complete, survivorsLeft };

enum class Termination { askedFirst, atOnce };

/// Ends the trees: SIGTERM to all of it; once only processes are left that ignore it, at the latest after 1.5 s,
/// SIGKILL, again and again until nothing new is found. Done within 3 s, with survivors only where the kernel or the
/// lack of permission keeps a process alive. Does not reap.
awaitable<TreeEnd> endTrees(std::vector<ProcessTree> trees);

/// The same for a program's start and end, when its executors do not run: blocks the calling thread. `atOnce` begins
/// with SIGKILL.
TreeEnd endTreesBlocking(const std::vector<ProcessTree>& trees, Termination termination = Termination::askedFirst);

/// The same for what has detached itself from the trees; what hangs on the roots stays.
awaitable<TreeEnd> endDetached(std::vector<ProcessTree> trees);

}  // namespace ravant
