#include "runners/cursor/acp_turn.hpp"

#include <algorithm>
#include <iterator>

#include "runners/cursor/acp_wire.hpp"
#include "runners/json_rpc_peer.hpp"
#include "tests/fuzz/turn_invariants.hpp"

namespace ravant::fuzz {
namespace {

/// A line with a result is the answer to the prompt; without one the connection has ended.
std::vector<turn::Action> play(const std::vector<std::string>& lines) {
  JsonRpcPeer peer;
  JsonLineParser parser;
  AcpTurn turn("model");
  std::vector<turn::Action> actions;
  for (const std::string& line : lines) {
    for (const RpcMessage& message : peer.onLine(line)) {
      const auto* told = std::get_if<RpcNotification>(&message);
      const json::object* update = told ? objectAt(told->params, "update") : nullptr;
      if (update) std::ranges::move(turn.ingest(acp::parseUpdate(*update), line), std::back_inserter(actions));
    }
    const json::object* reply = asObject(parser.parse(line));
    if (const json::object* result = reply ? objectAt(*reply, "result") : nullptr) {
      std::ranges::move(turn.onPromptEnd(acp::parsePromptEnd(*result)), std::back_inserter(actions));
      return actions;
    }
  }
  std::ranges::move(turn.flushMessageBuffer(), std::back_inserter(actions));
  return actions;
}

}  // namespace
}  // namespace ravant::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  ravant::fuzz::expectLawfulTurn(ravant::fuzz::play, ravant::fuzz::text(bytes, size));
  return 0;
}
