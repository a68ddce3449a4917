#pragma once

#include <string>
#include <vector>

#include "core/agent_model.hpp"
#include "runners/rpc_probe.hpp"

namespace ravant {

/// The models that a Codex program offers its user, as its app-server lists them. Throws what `probeOverRpc` throws.
awaitable<std::vector<ProbedModel>> probeCodexModels(RpcProbeOptions options, std::string binaryPath);

}  // namespace ravant
