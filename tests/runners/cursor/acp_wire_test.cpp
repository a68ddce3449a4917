#include "runners/cursor/acp_wire.hpp"

#include <gmock/gmock.h>

namespace ravant::test {
namespace {

TEST(AcpWire, takesASessionForUnknownOnlyWhereTheAgentSaysSo) {
  for (const auto* words :
       {"rpc(Resource not found: s-1)", "rpc(Session not found)", "rpc(Internal error: no such session)",
        "rpc(Unknown session s-1)", "rpc(Internal error: The conversation s-1 does not exist)",
        "rpc(\"Method not found\": session/load)"}) {
    EXPECT_TRUE(acp::saysUnknownSession(words, "s-1")) << words;
  }
  for (const auto* words :
       {"rpc(Authentication required)", "rpc(Your session has expired, log in again)", "rpc(Model not found: gpt-0)",
        "rpc(Internal error)", "rpc(unknown)", "rpc(Internal error: the session s-1 could not be read)"}) {
    EXPECT_FALSE(acp::saysUnknownSession(words, "s-1")) << words;
  }
}

}  // namespace
}  // namespace ravant::test
