#include "desktop/attention/run_ends.hpp"

#include <gmock/gmock.h>

#include "core/store/transcript_writer.hpp"
#include "desktop/attention/needs_me.hpp"
#include "tests/desktop/support/workbench.hpp"

namespace ravant::test {
namespace {

using desktop::nextNeedingMe;
using desktop::RunEnd;
using desktop::RunEnds;
using testing::ElementsAre;
using testing::IsEmpty;

struct RunEndsTest : testing::Test {
  std::shared_ptr<ConversationItemModelActor> items() {
    return ConversationItemModelActor::make(workbench.application().modelContainer());
  }

  void begin(ConversationId in) {
    await(items()->beginRun(in));
    await(items()->appendUserPrompt(in, "Go.", AgentType::claude));
  }

  void end(ConversationId in, PromptOutcome outcome) {
    await(items()->appendAgentMessage(in, "{}", "Well.", {}, {}));
    await(items()->endRun(in, "", outcome));
  }

  void follow(RunEnds& ends) {
    QObject::connect(&ends, &RunEnds::ended,
                     [this](const RunEnd& ended) { told.push_back(ended.words.toStdString()); });
  }

  /// Waits until a run that ends last was told.
  void runAnother(ConversationId in) {
    const std::size_t before = told.size();
    begin(in);
    end(in, PromptOutcome::finished);
    EXPECT_TRUE(until([&] { return told.size() > before; }));
  }

  Workbench workbench;
  Project project = workbench.addProject("weather");
  ConversationId conversation = workbench.addConversation(project);
  std::vector<std::string> told;
};

TEST_F(RunEndsTest, TellsOfWhatFinishedAndFailedOnceAndOfNothingElse) {
  const ConversationId other = workbench.addConversation(project);
  begin(conversation);
  end(conversation, PromptOutcome::finished);
  RunEnds ends(workbench.window(), nullptr);
  follow(ends);
  workbench.settle();

  begin(conversation);
  end(conversation, PromptOutcome::failed);
  EXPECT_TRUE(until([&] { return told.size() == 1; }));
  for (const PromptOutcome outcome : {PromptOutcome::cancelled, PromptOutcome::interrupted}) {
    begin(conversation);
    end(conversation, outcome);
  }
  // What comes behind an end is no other end.
  await(items()->appendAgentMessage(conversation, "{}", "By the way.", {}, {}));
  await(workbench.application().conversations().renameConversation(conversation, "Renamed"));
  runAnother(other);
  EXPECT_THAT(told, ElementsAre("Claude Code failed", "Claude Code finished"));
}

TEST_F(RunEndsTest, SaysHowManyFilesThePromptChanged) {
  const auto call = [&](const char* tool, const std::string& file, ToolInvocationStatus status) {
    await(items()->appendToolInvocation(conversation, "{}", "", tool, file, R"({"file_path":")" + file + R"("})", {},
                                        status));
  };
  using enum ToolInvocationStatus;
  RunEnds ends(workbench.window(), nullptr);
  follow(ends);
  begin(conversation);
  call("Edit", "/w/before.cpp", completed);
  end(conversation, PromptOutcome::finished);
  EXPECT_TRUE(until([&] { return told.size() == 1; }));

  begin(conversation);
  for (const char* file : {"/w/a.cpp", "/w/b.cpp", "/w/a.cpp"}) call("Edit", file, completed);
  await(items()->appendAgentMessage(conversation, "{}", "And more.", {}, {}));
  call("Write", "/w/c.cpp", completed);
  call("Read", "/w/d.cpp", completed);
  call("Edit", "/w/e.cpp", failed);
  end(conversation, PromptOutcome::finished);
  EXPECT_TRUE(until([&] { return told.size() == 2; }));
  EXPECT_THAT(told, ElementsAre("Claude Code finished, 1 file changed", "Claude Code finished, 3 files changed"));
}

TEST_F(RunEndsTest, TellsOfARunThatBeganBeforeTheProgram) {
  begin(conversation);
  workbench.settle();
  RunEnds ends(workbench.window(), nullptr);
  follow(ends);
  // Behind what the model asked when it was made.
  await(workbench.application().conversations().conversations({}));
  workbench.window().openConversation(desktop::textOf(conversation), desktop::textOf(project.id));
  end(conversation, PromptOutcome::limit);
  EXPECT_TRUE(until([&] { return !told.empty(); }));
  EXPECT_EQ(ends.spoken(), QStringLiteral("Claude Code failed"));
}

TEST_F(RunEndsTest, TellsOfAQueueThatCouldNotGoOn) {
  RunEnds ends(workbench.window(), nullptr);
  follow(ends);
  runAnother(conversation);
  const auto last = await(workbench.application().transcripts().last(conversation)).value();
  await(items()->appendFailureEventBehind(last.id, conversation, "A queued prompt was not sent."));
  EXPECT_TRUE(until([&] { return told.size() == 2; }));
  // Neither is told again when the conversation goes on.
  runAnother(conversation);
  EXPECT_THAT(told, ElementsAre("Claude Code finished", "Claude Code failed", "Claude Code finished"));
}

TEST_F(RunEndsTest, TellsOfOneThatFinishedThoughTheNextRuns) {
  RunEnds ends(workbench.window(), nullptr);
  follow(ends);
  begin(conversation);
  workbench.settle();
  // Behind the look at the one that runs.
  for (int look = 0; look < 4; ++look) await(workbench.application().conversations().conversations({}));
  await(items()->endRun(conversation, "", PromptOutcome::finished));
  begin(conversation);
  EXPECT_TRUE(until([&] { return !told.empty(); }));
  EXPECT_THAT(told, ElementsAre("Claude Code finished"));
}

TEST_F(RunEndsTest, LeadsFromOneThatNeedsTheUserToTheNext) {
  std::vector<ConversationId> ids;
  const auto listed = [&] { return await(workbench.application().conversations().conversations({})); };
  for (const PromptOutcome outcome : {PromptOutcome::finished, PromptOutcome::failed, PromptOutcome::finished}) {
    ids.push_back(workbench.addConversation(project));
    begin(ids.back());
    end(ids.back(), outcome);
  }
  const auto seen = await(workbench.application().transcripts().last(ids[1])).value();
  await(workbench.application().conversations().markSeen(ids[1], seen.id));
  const auto after = [&, all = listed()](std::optional<ConversationId> shown) {
    const ConversationSummary* const next = nextNeedingMe(all, shown);
    return next ? std::optional(next->conversation.id) : std::nullopt;
  };
  EXPECT_EQ(after(std::nullopt), ids[0]);
  EXPECT_EQ(after(ids[0]), ids[2]);
  EXPECT_EQ(after(ids[1]), ids[2]);
  EXPECT_EQ(after(ids[2]), ids[0]);
  for (const ConversationId id : {ids[0], ids[2]}) {
    await(workbench.application().conversations().markSeen(
        id, await(workbench.application().transcripts().last(id)).value().id));
  }
  EXPECT_EQ(nextNeedingMe(listed(), std::nullopt), nullptr);
}

}  // namespace
}  // namespace ravant::test
