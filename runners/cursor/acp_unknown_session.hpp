#pragma once

#include <string_view>

#include "runners/json_rpc_peer.hpp"

namespace ravant::acp {

/// Whether the agent says in so many words that there is no such session, or that it cannot load any. What the error's
/// data tells does not count, nor that something else was not found while the session was loaded.
bool saysUnknownSession(const RpcError& error, std::string_view sessionId);

}  // namespace ravant::acp
