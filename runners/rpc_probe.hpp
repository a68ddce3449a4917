#pragma once

#include <chrono>
#include <functional>
#include <string>

#include "runners/rpc_connection.hpp"

namespace ravant {

struct RpcProbeOptions {
  any_io_executor io;
  ShellOptions shell;
  std::chrono::milliseconds limit{30'000};  ///< for the answers, once the program runs
};

/// Starts a program that speaks JSON-RPC in the user's login shell, has `ask` talk to it, and ends it. `commandLine` is
/// shell text. Callable from any executor; `ask` runs on one of `io`. Throws what `RpcConnection::start` and `ask`
/// throw, and `ProbeError` where the limit was reached.
awaitable<void> probeOverRpc(RpcProbeOptions options, std::string commandLine,
                             std::function<awaitable<void>(std::shared_ptr<RpcConnection>)> ask);

}  // namespace ravant
