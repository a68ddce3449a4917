#include "runners/json_rpc_peer.hpp"

#include <fmt/format.h>
#include <gmock/gmock.h>

#include <ostream>

#include "core/overloaded.hpp"

namespace ravant::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

std::string described(const RpcOutcome& outcome) {
  if (const auto* error = std::get_if<RpcError>(&outcome))
    return fmt::format("error {} {}", error->code, error->message);
  return compactJson(std::get<json::object>(outcome));
}

std::string described(const RpcMessage& message) {
  return std::visit(
      Overloaded{
          [](const RpcReply& reply) {
            return fmt::format("reply {} {}", reply.request.value, described(reply.outcome));
          },
          [](const RpcNotification& told) { return fmt::format("told {} {}", told.method, compactJson(told.params)); },
          [](const RpcRequest& asked) {
            return fmt::format("asked {} {} {}", compactJson(asked.id), asked.method, compactJson(asked.params));
          }},
      message);
}

struct Line {
  std::string name;
  std::string text;
  std::vector<std::string> messages;
};
std::ostream& operator<<(std::ostream& stream, const Line& line) { return stream << line.name; }

/// What a peer reads that has the open requests 1 and 2.
class JsonRpcPeerLines : public testing::TestWithParam<Line> {};

TEST_P(JsonRpcPeerLines, areRead) {
  JsonRpcPeer peer;
  peer.request("first", {});
  peer.request("second", {});
  std::vector<std::string> messages;
  for (const RpcMessage& message : peer.onLine(GetParam().text)) messages.push_back(described(message));
  EXPECT_EQ(messages, GetParam().messages);
}

INSTANTIATE_TEST_SUITE_P(
    All, JsonRpcPeerLines,
    testing::Values(
        Line{"result", R"({"jsonrpc":"2.0","id":1,"result":{"a":1}})", {R"(reply 1 {"a":1})"}},
        Line{"withoutVersion", R"({"id":2,"result":{}})", {"reply 2 {}"}},
        Line{"numberWithFraction", R"({"id":1.0,"result":{}})", {"reply 1 {}"}},
        Line{"resultThatIsNoObject", R"({"id":1,"result":null})", {"reply 1 {}"}},
        Line{"error", R"({"error":{"code":-32602,"message":"wrong"},"id":1})", {"reply 1 error -32602 wrong"}},
        Line{"errorWithData",
             R"({"error":{"code":1,"message":"Internal error","data":{"code":"x","details":"no key"}},"id":1})",
             {"reply 1 error 1 Internal error: no key"}},
        Line{"errorWithText",
             R"({"error":{"code":1,"message":"wrong","data":"a b"},"id":1})",
             {"reply 1 error 1 wrong: a b"}},
        Line{"errorWithOtherData",
             R"({"error":{"code":1,"message":"wrong","data":{"at":[7]}},"id":1})",
             {R"(reply 1 error 1 wrong: {"at":[7]})"}},
        Line{"errorThatRepeatsItself",
             R"({"error":{"code":1,"message":"not found: a","data":{"uri":"a"}},"id":1})",
             {"reply 1 error 1 not found: a"}},
        Line{"errorWithoutWords", R"({"error":{},"id":1})", {"reply 1 error 0 unknown"}},
        Line{"errorThatIsNoObject", R"({"error":"no","id":1})", {"reply 1 error 0 unknown"}},
        Line{"noErrorBesideAResult", R"({"error":null,"result":{"b":2},"id":1})", {R"(reply 1 {"b":2})"}},
        Line{"unknownId", R"({"id":3,"result":{}})", {}}, Line{"idAsText", R"({"id":"1","result":{}})", {}},
        Line{"errorToNobody", R"({"id":null,"error":{"code":-32700,"message":"parse error"}})", {}},
        Line{"idAlone", R"({"id":1})", {}},
        Line{"notification", R"({"method":"m","params":{"x":[]}})", {R"(told m {"x":[]})"}},
        Line{"numbersOfAnySize",
             R"({"id":12345678901234567890123,"method":"m","params":{"x":1e400,"y":1.0}})",
             {R"(asked 12345678901234567890123 m {"x":1e400,"y":1.0})"}},
        Line{"paramsThatAreANumber", R"({"method":"m","params":1.0})", {"told m {}"}},
        Line{"withoutParams", R"({"method":"m"})", {"told m {}"}},
        Line{"paramsInOrder", R"({"method":"m","params":[1]})", {"told m {}"}},
        Line{"requestWithOurId", R"({"id":1,"method":"m","params":{}})", {"asked 1 m {}"}},
        Line{"requestWithResult", R"({"id":1,"method":"m","result":{}})", {"asked 1 m {}"}},
        Line{"requestIds",
             R"([{"id":"a","method":"m"},{"id":null,"method":"m"},{"id":0,"method":"m"}])",
             {R"(asked "a" m {})", "asked null m {}", "asked 0 m {}"}},
        Line{"batch", R"([{"id":2,"result":{}},7,{"method":"m"},{"id":2,"result":{}}])", {"reply 2 {}", "told m {}"}},
        Line{"methodThatIsNoText", R"({"method":7,"params":{}})", {}}, Line{"noMessage", "[]", {}},
        Line{"noJson", "starting…", {}}, Line{"half", R"({"id":1,"resu)", {}}, Line{"empty", "", {}}),
    [](const auto& info) { return info.param.name; });

TEST(JsonRpcPeer, asksWithIdsOfItsOwnAndTakesEachReplyOnce) {
  JsonRpcPeer peer;
  const auto [first, line] = peer.request("a/b", {{"text", "line\nbreak"}});
  EXPECT_EQ(line, R"({"jsonrpc":"2.0","id":1,"method":"a/b","params":{"text":"line\nbreak"}})"
                  "\n");
  EXPECT_LT(first, peer.request("c", {}).id);
  EXPECT_THAT(peer.onLine(R"({"id":1,"result":{}})"), testing::SizeIs(1));
  EXPECT_THAT(peer.onLine(R"({"id":1,"result":{}})"), IsEmpty());
}

TEST(JsonRpcPeer, answersWithTheIdThatWasGiven) {
  EXPECT_EQ(JsonRpcPeer::response(json::value("x-1"), json::object{{"ok", true}}),
            R"({"jsonrpc":"2.0","id":"x-1","result":{"ok":true}})"
            "\n");
  EXPECT_EQ(JsonRpcPeer::response(json::value(nullptr), RpcError{kRpcMethodNotFound, "Method not found"}),
            R"({"jsonrpc":"2.0","id":null,"error":{"code":-32601,"message":"Method not found"}})"
            "\n");
  EXPECT_EQ(JsonRpcPeer::notification("initialized"), "{\"jsonrpc\":\"2.0\",\"method\":\"initialized\"}\n");
}

}  // namespace
}  // namespace ravant::test
