#include "runners/json_rpc_peer.hpp"

#include <algorithm>
#include <utility>

#include "platform/log/log.hpp"
#include "runners/agent_json.hpp"

namespace ravant {
namespace {

constexpr Log kLog("com.ravant.runners", "JsonRpcPeer");
const json::object kNoParams;

std::string lineOf(const json::object& message) { return compactJson(message) + '\n'; }

std::string dataText(const json::value& data) {
  if (const auto* text = data.if_string()) return std::string(*text);
  const json::object* object = asObject(&data);
  for (const std::string_view key : {"details", "message", "reason"}) {
    if (const auto text = object ? stringAt(*object, key) : std::nullopt) return std::string(*text);
  }
  return compactJson(data);
}

/// Whether the message has all the texts that the data is made of.
bool repeats(std::string_view message, const json::value& data) {
  if (data.is_null()) return true;
  if (const auto* text = data.if_string()) return message.contains(*text);
  const json::object* object = asObject(&data);
  return object && std::ranges::all_of(*object, [&](const auto& member) {
           const auto* text = member.value().if_string();
           return text && message.contains(*text);
         });
}

RpcError errorOf(const json::object& error) {
  const auto ownMessage = optionalTextAt(error, "message");
  std::string message = ownMessage.value_or("unknown");
  const json::value* data = error.if_contains("data");
  if (data && !repeats(message, *data)) message += ": " + dataText(*data);
  return {.code = integerAt(error, "code").value_or(0),
          .message = std::move(message),
          .ownMessage = ownMessage.value_or(std::string())};
}

RpcOutcome outcomeOf(const json::object& reply) {
  if (const json::object* error = objectAt(reply, "error")) return errorOf(*error);
  if (const json::value* error = reply.if_contains("error"); error && !error->is_null()) {
    return RpcError{.code = 0, .message = "unknown"};
  }
  const json::object* result = objectAt(reply, "result");
  // A copy that outlives the line.
  return result ? json::object(*result, json::storage_ptr()) : json::object();
}

}  // namespace

JsonRpcPeer::Call JsonRpcPeer::request(std::string_view method, json::object params) {
  const RpcRequestId id{nextRequestId_++};
  pending_.insert(id);
  return {.id = id,
          .line = lineOf({{"jsonrpc", "2.0"}, {"id", id.value}, {"method", method}, {"params", std::move(params)}})};
}

std::string JsonRpcPeer::notification(std::string_view method, json::object params) {
  json::object message{{"jsonrpc", "2.0"}, {"method", method}};
  if (!params.empty()) message.emplace("params", std::move(params));
  return lineOf(message);
}

std::string JsonRpcPeer::response(const json::value& id, const RpcOutcome& outcome) {
  json::object message{{"jsonrpc", "2.0"}, {"id", id}};
  if (const auto* error = std::get_if<RpcError>(&outcome)) {
    message.emplace("error", json::object{{"code", error->code}, {"message", error->message}});
  } else {
    message.emplace("result", std::get<json::object>(outcome));
  }
  return lineOf(message);
}

std::vector<RpcMessage> JsonRpcPeer::onLine(std::string_view line) {
  std::vector<RpcMessage> messages;
  const json::value* value = parser_.parse(line);
  if (!value) return messages;
  if (const json::array* batch = value->if_array()) {
    for (const json::value& entry : *batch) read(entry, messages);
  } else {
    read(*value, messages);
  }
  return messages;
}

void JsonRpcPeer::read(const json::value& value, std::vector<RpcMessage>& messages) {
  const json::object* message = asObject(&value);
  if (!message) return;
  const json::value* id = message->if_contains("id");
  // The other side counts its requests by itself: its ids are no sign of a reply to ours.
  if (const auto method = stringAt(*message, "method")) {
    const json::object* given = objectAt(*message, "params");
    const json::object& params = given ? *given : kNoParams;
    if (id) {
      messages.emplace_back(RpcRequest{.id = *id, .method = *method, .params = params});
    } else {
      messages.emplace_back(RpcNotification{.method = *method, .params = params});
    }
  } else if (id) {
    readReply(*message, messages);
  }
}

void JsonRpcPeer::readReply(const json::object& reply, std::vector<RpcMessage>& messages) {
  if (!reply.contains("result") && !reply.contains("error")) return;
  const auto number = exactInteger(reply.at("id"));
  const RpcRequestId id{number.value_or(0)};
  if (!number || pending_.erase(id) == 0) {
    kLog.warning("a reply to no open request was dropped");
    return;
  }
  messages.emplace_back(RpcReply{.request = id, .outcome = outcomeOf(reply)});
}

}  // namespace ravant
