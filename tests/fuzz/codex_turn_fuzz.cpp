#include "runners/codex/codex_turn.hpp"

#include <algorithm>
#include <iterator>

#include "runners/json_rpc_peer.hpp"
#include "tests/fuzz/turn_invariants.hpp"

namespace ravant::fuzz {
namespace {

/// The server names the turn behind its first line, as one that is quick does.
std::vector<turn::Action> play(const std::vector<std::string>& lines) {
  JsonRpcPeer peer;
  CodexTurn turn("model");
  std::vector<turn::Action> actions;
  for (const std::string& line : lines) {
    for (const RpcMessage& message : peer.onLine(line)) {
      const auto* told = std::get_if<RpcNotification>(&message);
      if (told) std::ranges::move(turn.ingest(told->method, told->params, line), std::back_inserter(actions));
    }
    if (&line == &lines.front()) std::ranges::move(turn.onStarted("turn-1"), std::back_inserter(actions));
    std::ranges::move(turn.takeOutputs(), std::back_inserter(actions));
  }
  std::ranges::move(turn.close(), std::back_inserter(actions));
  return actions;
}

}  // namespace
}  // namespace ravant::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  ravant::fuzz::expectLawfulTurn(ravant::fuzz::play, ravant::fuzz::text(bytes, size));
  return 0;
}
