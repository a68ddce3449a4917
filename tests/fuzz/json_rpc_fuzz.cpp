#include "runners/json_rpc_peer.hpp"

#include <variant>

#include "tests/fuzz/turn_invariants.hpp"

// Each of our requests is answered at most once, and what is answered to the other side is JSON again.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  using namespace ravant;
  JsonRpcPeer peer;
  std::set<RpcRequestId> waiting;
  for (int request = 0; request < 3; ++request) waiting.insert(peer.request("session/prompt", {}).id);
  for (const std::string& line : fuzz::lines(fuzz::text(bytes, size))) {
    for (const RpcMessage& message : peer.onLine(line)) {
      if (const auto* reply = std::get_if<RpcReply>(&message)) {
        fuzz::expect(waiting.erase(reply->request) == 1, "a request is answered once");
      } else if (const auto* request = std::get_if<RpcRequest>(&message)) {
        const std::string answer = JsonRpcPeer::response(request->id, json::object());
        fuzz::expect(parseJson(answer).has_value(), "an answer is JSON");
      }
    }
  }
  return 0;
}
