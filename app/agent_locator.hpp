#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/agent_type.hpp"
#include "platform/async/async.hpp"
#include "platform/process/process_ledger.hpp"

namespace ravant {

/// An agent's program on this machine.
struct LocatedAgent {
  AgentType type;
  std::string path;     ///< absolute
  std::string version;  ///< as the program says it; empty when it did not answer in time
};

struct AgentLocatorOptions {
  std::string shellPath;
  std::chrono::milliseconds shellLimit{30'000};
  std::chrono::milliseconds versionLimit{10'000};
  std::shared_ptr<ProcessLedger> processes;
};

/// What the user's login shell would find.
struct ShellEnvironment {
  std::string searchPath;  ///< PATH, folders parted by ':'
};

/// The search path that agents get: that of the user's login shell. Throws what
/// `probeInShell` throws.
awaitable<ShellEnvironment> readShellEnvironment(AgentLocatorOptions options, any_io_executor io);

/// The command-line agents in the folders of the search path (parted by ':') and the usual install
/// folders, without their versions. Starts no program.
std::vector<LocatedAgent> findAgents(std::string_view searchPath);

/// The same agents, each asked for its version, all at once. One that does not answer delays nobody for longer than the
/// limit.
awaitable<std::vector<LocatedAgent>> locateAgents(AgentLocatorOptions options, std::string searchPath,
                                                  any_io_executor io);

}  // namespace ravant
