#pragma once

#include <optional>
#include <string>
#include <vector>

#include "core/agent_model.hpp"
#include "runners/rpc_probe.hpp"

namespace ravant {

/// The models that an agent of the Agent Client Protocol lets the user choose in a new session; empty where it lets
/// none be chosen. `arguments` as in `Agent`. Throws what `probeOverRpc` throws.
awaitable<std::vector<ProbedModel>> probeAcpModels(RpcProbeOptions options, std::string binaryPath,
                                                   std::optional<std::vector<std::string>> arguments);

}  // namespace ravant
