#include "core/store/transcript_writer.hpp"

#include <gmock/gmock.h>

#include "core/agent_runner_error.hpp"
#include "core/store/run_table.hpp"
#include "tests/support/store.hpp"
#include "tests/support/transcript_text.hpp"

namespace ravant::test {
namespace {

using namespace turn;
using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::HasSubstr;

AppendToolInvocation call(const std::string& id) {
  return {.rawJSON = "{}", .text = "Bash", .toolName = "Bash", .toolCallId = id};
}
CompleteToolInvocation result(const std::string& id) {
  return {.toolCallId = id, .output = "done", .outcome = ToolOutcome::completed};
}
AppendAgentMessage message(const std::string& text) { return {.rawJSON = "{}", .text = text}; }

class Writer : public testing::Test {
 protected:
  std::shared_ptr<TranscriptWriter> makeWriter() {
    return std::make_shared<TranscriptWriter>(store.container, conversation);
  }
  /// Records a prompt whose turn is those batches; the text is what `record` throws.
  std::string record(std::vector<std::vector<Action>> batches, std::optional<std::string> failure = {},
                     bool isCancelled = false) {
    const auto writer = makeWriter();
    try {
      run(writer->record(
              "prompt", AgentType::claude, [=] { return isCancelled; },
              [&]() -> awaitable<void> {
                for (std::vector<Action>& batch : batches) co_await writer->perform(std::move(batch));
                if (failure) throw AgentReportedError(*failure);
              }),
          loop);
    } catch (const AgentReportedError& error) {
      return error.what();
    }
    return "finished";
  }
  /// What observers are told of the run beside its transcript, a line each; `items` where something was committed.
  std::vector<std::string> told(const std::shared_ptr<ChangeSubscription>& subscription) {
    subscription->end();
    std::vector<std::string> lines;
    while (const auto batch = run(subscription->next(), loop)) {
      for (const Change& change : batch->changes) lines.push_back(line(change));
    }
    lines.erase(std::ranges::unique(lines).begin(), lines.end());
    return lines;
  }
  static std::string line(const Change& change) {
    if (change.growth) {
      return (change.growth->kind == GrowthKind::reasoning ? "reasons " : "says ") + change.growth->text;
    }
    if (change.operation != ChangeOperation::went) return "items";
    if (!change.state) return "over";
    std::string text(rawValue(change.state->kind));
    if (change.state->invocation) text += " " + change.state->invocation->text();
    return text + change.state->reason;
  }
  std::shared_ptr<ChangeSubscription> subscribe() {
    return run(store.container->changeFeed()->subscribe(loop.get_executor()), loop);
  }
  UserMessage lastPrompt() {
    std::optional<UserMessage> last;
    for (const ConversationItem& item : store.transcript(conversation)) {
      if (const auto* prompt = std::get_if<UserMessage>(&item.detail)) last = *prompt;
    }
    return last.value();
  }

  asio::io_context loop;
  TemporaryFolder folder;
  OpenStore store{folder.path()};
  ConversationId conversation = store.makeConversation();
};

TEST_F(Writer, announcesWhatTheRunDoes) {
  const auto subscription = subscribe();
  record({{call("a")},
          {call("b"), UpdateToolInvocation{.toolCallId = "a", .output = "…"}},
          {result("b")},
          {result("a")},
          {Retry{.reason = "overloaded", .after = 2s}},
          {Grow{"Broken o", true}, Grow{"H", true}, Grow{"e", false}},
          {message("Broken o"), message("Hello.")},
          {Retry{.reason = "again"}, call("c"), result("c")},
          {Finish{}}});
  EXPECT_THAT(told(subscription), ElementsAre("items", "thinking", "items", "runningTool 1", "items", "runningTool 2",
                                              "items", "runningTool 1", "items", "thinking", "retryingoverloaded",
                                              "thinking", "says Broken o", "says He", "items", "over"));
}

TEST_F(Writer, saysWhenItIsTriedAgainAndSinceWhenAToolRuns) {
  const auto subscription = subscribe();
  const auto writer = makeWriter();
  std::vector<RunState> states;
  run(writer->record(
          "prompt", AgentType::claude, [] { return false; },
          [&]() -> awaitable<void> {
            co_await writer->perform({Retry{.reason = "busy", .after = 1500ms}});
            store.clock->advance(10s);
            co_await writer->perform({call("a")});
            store.clock->advance(10s);
            co_await writer->perform({call("b")});
            co_await writer->announce(RunState::Kind::waitingForLogin);
            co_await writer->perform({result("b")});
          }),
      loop);
  subscription->end();
  while (const auto batch = run(subscription->next(), loop)) {
    for (const Change& change : batch->changes) {
      if (change.state) states.push_back(*change.state);
    }
  }
  using enum RunState::Kind;
  EXPECT_THAT(states,
              ElementsAre(RunState{.kind = thinking, .since = kMorning},
                          RunState{.kind = retrying, .since = kMorning, .reason = "busy", .until = kMorning + 1500ms},
                          RunState{.kind = runningTool, .since = kMorning + 10s, .invocation = ToolInvocationId(1)},
                          RunState{.kind = runningTool, .since = kMorning + 20s, .invocation = ToolInvocationId(2)},
                          RunState{.kind = waitingForLogin, .since = kMorning + 20s},
                          RunState{.kind = runningTool, .since = kMorning + 10s, .invocation = ToolInvocationId(1)}));
}

TEST_F(Writer, announcesReasoningInFrontOfWhatItLedToAndKeepsItOut) {
  const auto subscription = subscribe();
  record({{Grow{"Let me ", true, GrowthKind::reasoning}, Grow{"see.", false, GrowthKind::reasoning}, Grow{"Hel", true},
           Grow{"Hm.", true, GrowthKind::reasoning}, Grow{"lo", false}},
          {Grow{"Well.", true, GrowthKind::reasoning}, Grow{" all", false}, message("Hello all")},
          {Finish{}}});
  EXPECT_THAT(told(subscription), ElementsAre("items", "thinking", "reasons Let me see.", "reasons Hm.", "says Hello",
                                              "reasons Well.", "items", "over"));
  EXPECT_EQ(store.transcript(conversation).size(), 2U);
}

TEST_F(Writer, announcesNothingOfARunThatIsOver) {
  const auto writer = makeWriter();
  run(writer->record("prompt", AgentType::claude, [] { return false; }, []() -> awaitable<void> { co_return; }), loop);
  run(writer->perform({call("late")}), loop);
  run(writer->announce(RunState::Kind::waitingForShell), loop);
  const auto later = subscribe();
  EXPECT_THAT(told(later), testing::IsEmpty());
}

TEST_F(Writer, storesHowAPromptEnded) {
  const auto ended = [&] { return lastPrompt().endReason; };
  store.clock->advance(1s);
  record({{message("Hello."), Finish{}}});
  EXPECT_EQ(lastPrompt(), (UserMessage{.endReason = PromptOutcome::finished, .endedAt = kMorning + 1s}));
  EXPECT_EQ(record({{message("Hel")}}, "no such model"), "no such model");
  EXPECT_EQ(ended(), PromptOutcome::failed);
  record({{Fail{.text = "too long", .cause = FailureCause::limit}}}, "too long");
  EXPECT_EQ(ended(), PromptOutcome::limit);
  record({{Fail{.text = "torn off"}}}, "torn off", true);
  EXPECT_EQ(ended(), PromptOutcome::cancelled);
}

TEST_F(Writer, marksTheOnePromptThatTheRunWasAbout) {
  run(store.items->appendUserPrompt(conversation, "of an older version", AgentType::claude));
  run(store.items->beginRun(conversation));
  run(store.items->endRun(conversation, "", PromptOutcome::failed));
  EXPECT_EQ(lastPrompt(), UserMessage()) << "no prompt was kept under that run";

  {
    OpenStore dying(folder.path());
    dying.clock->set(kMorning + 1min);
    run(dying.items->beginRun(conversation));
    run(dying.items->appendUserPrompt(conversation, "prompt", AgentType::claude));
    dying.clock->set(kMorning + 2min);
    run(dying.items->appendAgentMessage(conversation, "{}", "Hel", {}, {}));
  }
  EXPECT_EQ(lastPrompt(), UserMessage());
  store.clock->set(kMorning + 24h);
  endInterruptedRuns(store.container);
  EXPECT_EQ(lastPrompt(), (UserMessage{.endReason = PromptOutcome::interrupted, .endedAt = kMorning + 2min}));
  EXPECT_EQ(std::get<UserMessage>(store.transcript(conversation).front().detail), UserMessage());
}

TEST_F(Writer, makesUpForAnEndThatCouldNotBeStored) {
  sqlite::Database other = store.container->connect();
  const auto leaveUnended = [&] {
    other.execute("CREATE TRIGGER refusal BEFORE DELETE ON run BEGIN SELECT RAISE(ABORT, 'refused'); END");
    record({{call("a")}}, {}, true);
    other.execute("DROP TRIGGER refusal");
  };
  leaveUnended();
  EXPECT_EQ(lastPrompt(), UserMessage());
  store.clock->advance(1h);
  run(store.items->beginRun(conversation));
  EXPECT_EQ(lastPrompt(), (UserMessage{.endReason = PromptOutcome::cancelled, .endedAt = kMorning}));
  EXPECT_THAT(transcriptText(store, conversation), HasSubstr(std::string(kCancelledTool)));

  run(store.items->appendUserPrompt(conversation, "abandoned", AgentType::claude));
  run(store.items->beginRun(conversation));
  EXPECT_EQ(lastPrompt().endReason, PromptOutcome::interrupted);
  run(store.items->endRun(conversation, ""));

  leaveUnended();
  run(store.conversations->deleteConversation(conversation));
  EXPECT_FALSE(run(store.conversations->conversation(conversation)));
}

}  // namespace
}  // namespace ravant::test
