#pragma once

#include <compare>
#include <cstdint>
#include <set>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "platform/json/json.hpp"

namespace ravant {

/// The number of one of our own requests.
struct RpcRequestId {
  std::int64_t value = 0;
  auto operator<=>(const RpcRequestId&) const = default;
};

struct RpcError {
  std::int64_t code = 0;
  std::string message;          ///< of the other side, with what its data tells beyond it
  std::string ownMessage = {};  ///< without that; empty where the other side gave none
  bool operator==(const RpcError&) const = default;
};

/// "Method not found" of JSON-RPC 2.0, section 5.1.
inline constexpr std::int64_t kRpcMethodNotFound = -32601;

/// What comes of a request: the result, empty where it is no object, or an error.
using RpcOutcome = std::variant<json::object, RpcError>;

/// The other side's answer to one of our requests.
struct RpcReply {
  RpcRequestId request;
  RpcOutcome outcome;
};

/// The other side tells something. Refers to the peer's memory.
struct RpcNotification {
  std::string_view method;
  const json::object& params;
};

/// The other side asks something. Refers to the peer's memory.
struct RpcRequest {
  const json::value& id;  ///< the other side's own, of any type
  std::string_view method;
  const json::object& params;
};

using RpcMessage = std::variant<RpcReply, RpcNotification, RpcRequest>;

/// One side of a JSON-RPC 2.0 connection with one JSON value a line, as a state machine without input or output.
///
/// Tolerant of what it reads: members that the protocol asks for may be missing where the meaning is clear ("jsonrpc"),
/// and what makes no sense is dropped. Source: JSON-RPC 2.0, jsonrpc.org.
class JsonRpcPeer {
 public:
  struct Call {
    RpcRequestId id;
    std::string line;  ///< line break included, like every line that is made here
  };
  /// Text in `params` must be valid UTF-8.
  Call request(std::string_view method, json::object params);
  static std::string notification(std::string_view method, json::object params = {});
  static std::string response(const json::value& id, const RpcOutcome& outcome);

  /// What a line of the other side says: nothing, one thing, or several where it is a batch. Valid until the next call.
  std::vector<RpcMessage> onLine(std::string_view line);

 private:
  void read(const json::value& value, std::vector<RpcMessage>& messages);
  void readReply(const json::object& reply, std::vector<RpcMessage>& messages);

  JsonLineParser parser_;
  std::int64_t nextRequestId_ = 1;
  std::set<RpcRequestId> pending_;
};

}  // namespace ravant
