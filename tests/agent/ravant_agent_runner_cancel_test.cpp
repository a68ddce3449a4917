#include "tests/agent/ravant_agent_runner_test.hpp"

#include <gmock/gmock.h>

#include <condition_variable>
#include <fstream>
#include <mutex>

namespace ravant::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

TEST_F(RavantAgentRunnerTest, cancellingBeforeAnAnswerEndsTheRequest) {
  play({[&](HttpServer::Connection& connection) {
          begun.open();
          connection.awaitClose();
          release.open();
        },
        says({"Here."})});
  EXPECT_EQ(sendAndCancel("one", [&] { return opened(begun); }), "finished");
  bench->await(opened(release));
  EXPECT_EQ(send("two"), "finished");
  EXPECT_THAT(bench->texts(), ElementsAre("one", "two", "Here."));
  EXPECT_EQ(model->conversations().back(), "user: one\nuser: two\n");
}

TEST_F(RavantAgentRunnerTest, cancellingWhileTheModelSpeaksKeepsWhatItHasSaid) {
  play({[&](HttpServer::Connection& connection) {
          connection.beginEventStream();
          connection.write(callsEvent({{"a", "bash", R"({"command":"touch never"})"}}));
          connection.write(textEvent("Half a "));
          connection.awaitClose();
        },
        says({"Here."})});
  const auto feed = bench->await(bench->subscribe());
  const auto hasGrown = [&]() -> awaitable<void> {
    for (;;) {
      const auto batch = co_await feed->next();
      if (std::ranges::count(batch->changes, ChangeOperation::grew, &Change::operation) > 0) co_return;
    }
  };
  EXPECT_EQ(sendAndCancel("one", hasGrown), "finished");
  EXPECT_EQ(send("two"), "finished");
  EXPECT_THAT(bench->texts(), ElementsAre("one", "Half a ", "two", "Here."));
  EXPECT_EQ(model->conversations().back(), "user: one\nassistant: Half a \nuser: two\n");
  EXPECT_FALSE(std::filesystem::exists(bench->project / "never"));
}

TEST_F(RavantAgentRunnerTest, cancellingWhileAToolRunsEndsItAndGivesEachCallAResult) {
  const std::string hangs = R"({"command":"echo begun; sleep 1000 & echo $! > pid; wait"})";
  play({calls({{"a", "bash", hangs}, {"b", "bash", R"({"command":"touch never"})"}}), says({"Here."})});
  EXPECT_EQ(sendAndCancel("one", [&] { return written("pid"); }), "finished");
  pid_t pid = 0;
  std::ifstream(bench->project / "pid") >> pid;
  bench->await(untilGone({pid}));
  EXPECT_THAT(bench->transcript(), HasSubstr("failed bash a\n"));
  EXPECT_FALSE(bench->hasRunningTool());

  EXPECT_EQ(send("two"), "finished");
  EXPECT_EQ(model->conversations().back(),
            "user: one\nassistant: bash(" + hangs +
                ") bash({\"command\":\"touch never\"})\n"
                "tool: [tool error] begun\n[cancelled]\n"
                "tool: [tool error] Cancelled before the tool had a result.\nuser: two\n");
  EXPECT_FALSE(std::filesystem::exists(bench->project / "never"));
}

/// Does not answer.
class SilentKeyStore final : public KeyStore {
 public:
  explicit SilentKeyStore(Gate& asked) : asked_(asked) {}

  std::optional<std::string> read(const KeyName& /*name*/, std::stop_token stop) override {
    asked_.open();
    std::mutex mutex;
    std::unique_lock lock(mutex);
    std::condition_variable_any changed;
    changed.wait_for(lock, stop, 20s, [] { return false; });
    throw KeyStoreError(KeyStoreError::Case::locked, "no answer");
  }
  void store(const KeyName& /*name*/, const std::string& /*secret*/, const std::string& /*label*/) override {}
  bool remove(const KeyName& /*name*/) override { return false; }

 private:
  Gate& asked_;
};

TEST_F(RavantAgentRunnerTest, cancellingDoesNotWaitForTheKeyStore) {
  keyStore = std::make_shared<SilentKeyStore>(begun);
  play({});
  EXPECT_EQ(sendAndCancel("prompt", [&] { return opened(begun); }), "finished");
  EXPECT_THAT(bench->texts(), ElementsAre("prompt"));
}

TEST_F(RavantAgentRunnerTest, cancellingEndsTheWaitForAnotherTry) {
  firstWait = 60s;
  play({[&](HttpServer::Connection& connection) {
    connection.respond(500);
    begun.open();
  }});
  EXPECT_EQ(sendAndCancel("prompt", [&] { return opened(begun); }), "finished");
  EXPECT_THAT(bench->texts(), ElementsAre("prompt"));
}

TEST_F(RavantAgentRunnerTest, aConversationChangesItsProviderAfterACancel) {
  const std::string waits = R"({"command":"echo x > begun; sleep 1000"})";
  play({calls({{"call_0123456789", "bash", waits}}), says({"Here."})});
  EXPECT_EQ(sendAndCancel("one", [&] { return written("begun"); }), "finished");
  slug = "codestral-latest";
  EXPECT_EQ(send("two"), "finished");
  EXPECT_EQ(
      model->conversations().back(),
      "user: one\nassistant: bash(" + waits + ")\ntool: [tool error] [cancelled]\nassistant: (no answer)\nuser: two\n");
}

}  // namespace
}  // namespace ravant::test
