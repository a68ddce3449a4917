#include "core/agent_runner_error.hpp"

#include <fmt/format.h>

#include "platform/text/text.hpp"

namespace ravant {
namespace {

std::string describe(AgentRunnerError::Case kind, const std::string& payload) {
  using enum AgentRunnerError::Case;
  switch (kind) {
    case agentExitedSilently: {
      const std::string_view complaint = trimmed(payload);
      return complaint.empty() ? "agentExitedSilently (no stderr)" : fmt::format("agentExitedSilently: {}", complaint);
    }
    case rpc:
      return fmt::format("rpc({})", payload);
    case busy:
      return "busy";
    case spawnFailed:
      return "spawnFailed";
    case processDied:
      return "processDied";
    case notConnected:
      return "notConnected";
  }
  __builtin_unreachable();
}

}  // namespace

AgentRunnerError::AgentRunnerError(Case kind, const std::string& payload)
    : std::runtime_error(describe(kind, payload)), kind_(kind) {}

AgentRunnerError AgentRunnerError::agentExitedSilently(std::string standardError) {
  return {Case::agentExitedSilently, standardError};
}

AgentRunnerError AgentRunnerError::rpc(std::string message) { return {Case::rpc, message}; }

}  // namespace ravant
