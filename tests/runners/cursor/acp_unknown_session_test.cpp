#include "runners/cursor/acp_unknown_session.hpp"

#include <gtest/gtest.h>

#include <string>
#include <variant>

namespace ravant::test {
namespace {

/// The error as it comes out of a reply.
RpcError errorOf(const std::string& error) {
  JsonRpcPeer peer;
  peer.request("session/load", {});
  const auto messages = peer.onLine(R"({"id":1,"error":)" + error + "}");
  return std::get<RpcError>(std::get<RpcReply>(messages.at(0)).outcome);
}

RpcError saying(const std::string& message, const std::string& more = {}) {
  return errorOf(R"({"code":-32603,"message":")" + message + "\"" + more + "}");
}

TEST(AcpUnknownSession, isOneThatTheAgentSaysIsNotThere) {
  for (const auto* words :
       {"Resource not found: s-1", "Session not found", "session_not_found", "Internal error: no such session",
        "Unknown session s-1", "Internal error: The conversation 's-1' does not exist", "Unknown sessionId: s-1",
        "Session with id s-1 doesn't exist.", "No conversation found with session ID: s-1", "s-1 was not found",
        "Could not find the session \\\"s-1\\\"", "Invalid session id"}) {
    EXPECT_TRUE(acp::saysUnknownSession(saying(words), "s-1")) << words;
  }
  for (const auto* error : {R"({"code":-32601,"message":"\"Method not found\": session/load"})",
                            R"({"code":-32002,"message":"Resource not found"})",
                            R"({"code":-32002,"message":"Resource not found","data":{"uri":"s-1"}})"}) {
    EXPECT_TRUE(acp::saysUnknownSession(errorOf(error), "s-1")) << error;
  }
}

TEST(AcpUnknownSession, isNoneWhereSomethingElseWentWrong) {
  for (const auto* words :
       {"Authentication required", "Your session has expired, log in again", "Model not found: gpt-0", "Internal error",
        "Internal error: the session s-1 could not be read", "Unknown error while loading session",
        "MCP server not found for session s-1", "Session token not found, please log in", "Login session not found",
        "Unknown session option: model", "Method not found", "Resource not found: /etc/agent.json",
        "No session token found"}) {
    EXPECT_FALSE(acp::saysUnknownSession(saying(words), "s-1")) << words;
  }
  EXPECT_FALSE(
      acp::saysUnknownSession(saying("Internal error: Model not found", R"(,"data":{"sessionId":"s-1"})"), "s-1"));
  for (const auto* error :
       {R"({"code":-32603,"data":{"sessionId":"s-1"}})", R"({"code":-32603,"data":"session not found"})",
        R"({"code":-32002,"message":"Resource not found","data":{"uri":"file:///agent.json"}})"}) {
    EXPECT_FALSE(acp::saysUnknownSession(errorOf(error), "s-1")) << error;
  }
}

}  // namespace
}  // namespace ravant::test
