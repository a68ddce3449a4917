#include <gmock/gmock.h>

#include <sstream>

#include "core/store/store_error.hpp"
#include "core/store/transcript_writer.hpp"
#include "platform/files/private_file.hpp"
#include "platform/json/json.hpp"
#include "platform/log/log.hpp"
#include "tests/support/store.hpp"
#include "tests/support/transcript_text.hpp"

namespace ravant::test {
namespace {

using testing::HasSubstr;
using testing::Not;
using testing::SizeIs;

class Transcript : public testing::Test {
 protected:
  void call(const std::string& callId, ToolInvocationStatus status = ToolInvocationStatus::running) {
    run(store.items->appendToolInvocation(conversation, "{}", "Bash", "Bash", callId, "{}", std::nullopt, status));
  }
  void message(const std::string& text, std::optional<std::string> id = {}) {
    store.clock->advance(std::chrono::seconds(1));
    run(store.items->appendAgentMessage(conversation, "{}", text, "opus", std::move(id)));
  }
  std::vector<std::size_t> groupSizes() {
    std::vector<std::size_t> sizes;
    for (const ConversationItem& item : store.transcript(conversation)) {
      if (const auto* group = std::get_if<ToolInvocationGroup>(&item.detail))
        sizes.push_back(group->invocations.size());
    }
    return sizes;
  }

  TemporaryFolder folder;
  OpenStore store{folder.path()};
  ConversationId conversation = store.makeConversation();
};

TEST_F(Transcript, groupsConsecutiveToolCalls) {
  for (const char* id : {"1", "2", "3"}) call(id);
  message("between");
  for (const char* id : {"4", "5"}) call(id);
  run(store.items->appendCompactionEvent(conversation, "{}", "Context compacted"));
  call("6");
  run(store.items->appendUserPrompt(conversation, "again", AgentType::claude));
  call("7");
  run(store.items->appendFailureEvent(conversation, "", "The agent run failed: busy"));
  call("8");

  EXPECT_THAT(groupSizes(), testing::ElementsAre(3, 2, 1, 1, 1));
}

TEST_F(Transcript, opensANewGroupInANewActor) {
  call("1");
  const auto later = ConversationItemModelActor::make(store.container);
  run(later->appendToolInvocation(conversation, "{}", "", "Bash", "2", {}, {}, ToolInvocationStatus::running));
  EXPECT_THAT(groupSizes(), testing::ElementsAre(1, 1));
}

TEST_F(Transcript, aGroupIsClosedByWhatAnotherActorAppends) {
  const auto other = ConversationItemModelActor::make(store.container);
  call("1");
  run(other->appendFailureEvent(conversation, "", "The agent run failed: busy"));
  call("2");
  call("3");
  run(other->appendToolInvocation(conversation, "{}", "", "Bash", "4", {}, {}, ToolInvocationStatus::running));
  call("5");
  EXPECT_THAT(groupSizes(), testing::ElementsAre(1, 2, 1, 1));
  EXPECT_EQ(kindOf(store.transcript(conversation).at(1)), ConversationItemKind::failureEvent);
}

TEST_F(Transcript, anEndStandsBehindTheOutputOfACall) {
  run(store.items->beginRun(conversation));
  for (const char* id : {"silent", "open line", "whole line", "done"}) call(id);
  run(store.items->apply(conversation, {turn::UpdateToolInvocation{.toolCallId = "open line", .output = "1 of 2"},
                                        turn::UpdateToolInvocation{.toolCallId = "whole line", .output = "1 of 2\n"}}));
  run(store.items->completeToolInvocation(conversation, "done", "2 of 2", ToolOutcome::completed));
  run(store.items->endRun(conversation, "The end."));

  std::vector<std::string> outputs;
  for (const ToolInvocation& ended :
       std::get<ToolInvocationGroup>(store.transcript(conversation).at(0).detail).invocations) {
    outputs.push_back(std::string(rawValue(ended.status)) + ": " + ended.output.value());
    EXPECT_EQ(ended.completedAt, store.clock->now());
  }
  EXPECT_THAT(outputs, testing::ElementsAre("failed: The end.", "failed: 1 of 2\nThe end.", "failed: 1 of 2\nThe end.",
                                            "completed: 2 of 2"));
}

TEST_F(Transcript, emptyIdsAreAbsent) {
  run(store.items->appendAgentMessage(conversation, "{}", "Hello", "", ""));
  const auto message = std::get<AgentMessage>(store.transcript(conversation).at(0).detail);
  EXPECT_EQ(message.agentModel, std::nullopt);
  EXPECT_EQ(message.providerMessageId, std::nullopt);
  run(store.items->apply(conversation, {turn::SetSession{"session"}, turn::SetSession{""}}));
  EXPECT_EQ(store.conversation(conversation).agentResumedSessionId, std::nullopt);
}

TEST_F(Transcript, finishesTheNewestCallOfThisConversation) {
  const ConversationId other = store.makeConversation(AgentType::pi, "/other");
  call("call_1");
  call("call_1");
  run(store.items->appendToolInvocation(other, "{}", "", "Read", "call_1", {}, {}, ToolInvocationStatus::running));
  run(store.items->completeToolInvocation(conversation, "call_1", "done", ToolOutcome::completed));
  run(store.items->completeToolInvocation(conversation, "unknown", "lost", ToolOutcome::failed));

  EXPECT_THAT(transcriptText(store, conversation), HasSubstr("running Bash call_1\n      in  \"{}\"\n      out \"-\"\n"
                                                             "    completed Bash call_1\n"));
  EXPECT_THAT(transcriptText(store, other), HasSubstr("running Read call_1"));
}

TEST_F(Transcript, appliesUsageToTheLatestMessageOfTheId) {
  message("first", "msg_1");
  message("second", "msg_1");
  const TokenUsageSnapshot usage{.inputTokens = 5, .outputTokens = 7, .usedTokens = 12, .totalProcessedTokens = 12};
  run(store.items->applyAssistantTurnUsage(conversation, "", {.inputTokens = 1, .usedTokens = 1}));
  EXPECT_EQ(store.conversation(conversation).lastInputTokens, 1);
  run(store.items->applyAssistantTurnUsage(conversation, "msg_1", usage));

  const auto items = store.transcript(conversation);
  EXPECT_EQ(std::get<AgentMessage>(items.at(0).detail).inputTokens, std::nullopt);
  EXPECT_EQ(std::get<AgentMessage>(items.at(1).detail).outputTokens, 7);
  const Conversation figures = store.conversation(conversation);
  EXPECT_EQ(figures.lastUsedTokens, 12);
  EXPECT_EQ(figures.lastMaxTokens, std::nullopt);
  EXPECT_EQ(figures.lastUsageUpdatedAt, store.clock->now());
}

TEST_F(Transcript, keepsEveryFieldOfAMessage) {
  message("prose\n\n```sh\nls\n```", "msg_1");
  const ConversationItem item = store.transcript(conversation).at(0);
  EXPECT_EQ(item.detail,
            ConversationItem::Detail(AgentMessage{
                .agentModel = "opus",
                .providerMessageId = "msg_1",
                .blocks = {{.text = "prose", .language = {}, .index = 0, .kind = MessageBlockKind::prose},
                           {.text = "ls", .language = "sh", .index = 1, .kind = MessageBlockKind::code}}}));
  EXPECT_EQ(item.createdAt, store.clock->now());
  EXPECT_EQ(store.conversation(conversation).lastActivityAt, store.clock->now());
}

TEST_F(Transcript, staysInOrderWhenTheClockIsSetBack) {
  message("earlier");
  store.clock->set(kMorning - std::chrono::hours(5));
  message("later");
  const auto items = store.transcript(conversation);
  EXPECT_EQ(items.at(0).text, "earlier");
  EXPECT_EQ(items.at(1).text, "later");
}

TEST_F(Transcript, changesNothingForAnUnknownConversation) {
  const ConversationId unknown(Uuid::random());
  run(store.items->appendUserPrompt(unknown, "p", AgentType::claude));
  run(store.items->appendToolInvocation(unknown, "{}", "", "Bash", "1", {}, {}, ToolInvocationStatus::running));
  run(store.items->completeToolInvocation(unknown, "1", "", ToolOutcome::failed));
  run(store.items->applyAssistantTurnUsage(unknown, "m", {.inputTokens = 1}));
  run(store.items->applyContextWindow(unknown, 5));
  run(store.items->beginRun(unknown));
  run(store.items->endRun(unknown, ""));
  EXPECT_THAT(run(store.items->loadTranscriptEntries(unknown)), testing::IsEmpty());

  sqlite::Database database = store.container->connect();
  for (const char* table : {"conversation_item", "tool_invocation", "run"}) {
    auto statement = database.prepare("SELECT count(*) FROM " + std::string(table));
    auto row = statement.query();
    row.step();
    EXPECT_EQ(row.int64(0), 0) << table;
  }
}

TEST_F(Transcript, isReplayedWithoutMarkers) {
  run(store.items->appendUserPrompt(conversation, "fix it", AgentType::ravant));
  message("looking");
  call("1");
  call("2");
  run(store.items->completeToolInvocation(conversation, "1", "no", ToolOutcome::failed));
  run(store.items->appendCompactionEvent(conversation, "{}", "Context compacted"));
  run(store.items->appendFailureEvent(conversation, "", "The agent run failed: busy"));

  using Call = TranscriptEntry::ToolInvocation;
  EXPECT_THAT(run(store.items->loadTranscriptEntries(conversation)),
              testing::ElementsAre(
                  TranscriptEntry{TranscriptEntry::User{"fix it"}},
                  TranscriptEntry{TranscriptEntry::Agent{.text = "looking", .rawJSON = "{}"}},
                  TranscriptEntry{Call{
                      .callId = "1", .name = "Bash", .input = "{}", .output = "no", .failed = true, .rawJSON = "{}"}},
                  TranscriptEntry{Call{
                      .callId = "2", .name = "Bash", .input = "{}", .output = "", .failed = false, .rawJSON = "{}"}}));
}

TEST_F(Transcript, keepsPromptsInTheAgentsOwnShape) {
  const auto rawJSON = [&](AgentType agent) {
    run(store.items->appendUserPrompt(conversation, "say \"hi\"", agent));
    return parseJson(store.transcript(conversation).back().rawJSON).value().as_object();
  };
  EXPECT_EQ(rawJSON(AgentType::codex).at("type"), "response_item");
  EXPECT_EQ(rawJSON(AgentType::codex).at("payload").at("content").at(0).at("type"), "input_text");
  for (const AgentType agent : {AgentType::claude, AgentType::pi}) {
    EXPECT_EQ(rawJSON(agent).at("message").at("content").at(0).at("text"), "say \"hi\"");
  }
  EXPECT_EQ(rawJSON(AgentType::cursor).at("prompt").at(0).at("text"), "say \"hi\"");
  EXPECT_EQ(rawJSON(AgentType::ravant).at("timestamp"), "2026-11-21T10:00:00.000000Z");
  EXPECT_EQ(store.conversation(conversation).lastPromptAt, kMorning);
}

TEST_F(Transcript, whatIsUnknownIsLoggedInFixedWords) {
  openLogFile(folder / "logs");
  const ConversationId gone(Uuid::random());
  const ProjectId project = store.conversation(conversation).project;
  run(store.items->appendUserPrompt(gone, "prompt", AgentType::claude));
  run(store.items->appendAgentMessage(gone, "{}", "text", {}, {}));
  run(store.items->appendToolInvocation(gone, "{}", "ls", "Bash", "1", {}, {}, ToolInvocationStatus::running));
  run(store.items->completeToolInvocation(gone, "1", "", ToolOutcome::completed));
  run(store.items->appendCompactionEvent(gone, "{}", ""));
  run(store.items->appendFailureEvent(gone, "", ""));
  run(store.items->applyAssistantTurnUsage(gone, "id", {}));
  run(store.items->applyContextWindow(gone, 1));
  run(store.items->loadTranscriptEntries(gone));
  EXPECT_FALSE(run(store.items->apply(
      gone, {turn::AppendToolInvocation{}, turn::UpdateToolInvocation{}, turn::ApplyUsage{}, turn::SetSession{}})));
  run(store.conversations->renameConversation(gone, "title"));
  run(store.conversations->archiveConversation(gone));
  run(store.conversations->updateResumedSessionId(gone, "session"));
  run(store.conversations->updateLastPromptSettings(gone, "model", {}));
  run(store.conversations->createConversation(ProjectId(gone.value()), {}));
  run(store.conversations->createConversation(project, AgentId(gone.value())));
  run(store.conversations->archiveConversation(conversation));
  openLogFile("/dev/null");

  std::vector<std::string> words;
  std::istringstream log(readFile(folder / "logs/ravant.log").value());
  for (std::string line; std::getline(log, line);) {
    const std::size_t category = line.find(" [com.ravant.core:Persistence] [");
    if (category == std::string::npos) continue;
    words.push_back(line.substr(line.find("] ", line.find("] [", category) + 1) + 2));
  }
  const std::string id = gone.text();
  EXPECT_THAT(
      words,
      testing::ElementsAre(
          "appendUserPrompt called with unknown id " + id, "appendAgentMessage called with unknown id " + id,
          "appendToolInvocation called with unknown id " + id, "completeToolInvocation called with unknown id " + id,
          "appendCompactionEvent called with unknown id " + id, "appendFailureEvent called with unknown id " + id,
          "applyAssistantTurnUsage unknown conversation " + id, "applyContextWindow unknown conversation " + id,
          "loadTranscriptEntries called with unknown id " + id, "appendToolInvocation called with unknown id " + id,
          "updateToolInvocation called with unknown id " + id, "applyAssistantTurnUsage unknown conversation " + id,
          "updateResumedSessionId called with unknown id " + id, "renameConversation called with unknown id " + id,
          "archiveConversation called with unknown id " + id, "updateResumedSessionId called with unknown id " + id,
          "updateLastPromptSettings called with unknown id " + id,
          "createConversation called with unknown project id " + id,
          "createConversation called with unknown agent id " + id, "archived conversation " + conversation.text()));
}

class SmallStore : public testing::Test {
 protected:
  TemporaryFolder folder;
  OpenStore store{folder.path(), {}, 100'000};
  ConversationId conversation = store.makeConversation();
  const std::string large = std::string(150'000, 'x');
};

TEST_F(SmallStore, refusesWhatIsTooLargeAndKeepsWhatStandsBeforeIt) {
  TranscriptWriter writer(store.container, conversation);
  const auto turn = [&]() -> awaitable<void> {
    return writer.store({turn::AppendToolInvocation{.toolName = "Bash", .toolCallId = "1"},
                         turn::AppendAgentMessage{.text = "before"}, turn::AppendAgentMessage{.text = large},
                         turn::AppendAgentMessage{.text = "after"}});
  };
  try {
    run(writer.record("prompt", AgentType::claude, [] { return false; }, turn));
    ADD_FAILURE() << "it was stored";
  } catch (const StoreError& error) {
    EXPECT_EQ(error.kind(), StoreError::Case::tooLarge);
    EXPECT_THAT(error.what(), HasSubstr("an entry is too large"));
    EXPECT_THAT(error.what(), HasSubstr("the limit is 100000 bytes"));
  }
  const std::string text = transcriptText(store, conversation);
  EXPECT_THAT(text, HasSubstr("failed Bash 1"));
  EXPECT_THAT(text, HasSubstr("before"));
  EXPECT_THAT(text, Not(HasSubstr("after")));
  const OpenStore other(folder.path());
  EXPECT_FALSE(run(other.conversations->isRunElsewhere(conversation)));
}

TEST_F(SmallStore, refusesAPromptThatIsTooLarge) {
  TranscriptWriter writer(store.container, conversation);
  const auto turn = []() -> awaitable<void> { co_return; };
  EXPECT_THROW(run(writer.record(large, AgentType::claude, [] { return false; }, turn)), StoreError);
  EXPECT_THAT(store.transcript(conversation), testing::IsEmpty());
  run(store.conversations->deleteConversation(conversation));
}

TEST_F(Transcript, goesWithItsOwner) {
  call("1");
  message("```\nx\n```");
  const Conversation owner = store.conversation(conversation);
  run(store.agents->removeAgent(*owner.agent));
  EXPECT_EQ(store.conversation(conversation).agent, std::nullopt);
  run(store.projects->remove(owner.project));

  sqlite::Database database = store.container->connect();
  for (const char* table : {"conversation", "conversation_item", "tool_invocation", "message_block"}) {
    auto statement = database.prepare("SELECT count(*) FROM " + std::string(table));
    auto row = statement.query();
    row.step();
    EXPECT_EQ(row.int64(0), 0) << table;
  }
}

TEST_F(Transcript, readsItsLastItems) {
  for (int i = 0; i < 5; ++i) message(std::to_string(i));
  const auto last = run(store.reader->items(conversation, 2));
  ASSERT_THAT(last, SizeIs(2));
  EXPECT_EQ(last.front().text, "3");
  EXPECT_EQ(run(store.reader->item(last.back().id)), last.back());
}

TEST_F(Transcript, knowsThePromptOfAnItem) {
  message("before any prompt");
  run(store.items->appendUserPrompt(conversation, "first", AgentType::claude));
  message("answer");
  store.clock->set(kMorning - std::chrono::hours(5));
  run(store.items->appendUserPrompt(conversation, "second", AgentType::claude));
  run(store.items->appendUserPrompt(store.makeConversation(AgentType::pi, "/other"), "other", AgentType::pi));
  std::vector<std::string> prompts;
  for (const ConversationItem& item : store.transcript(conversation)) {
    const auto prompt = run(store.reader->promptOf(item.id));
    prompts.push_back(prompt ? prompt->text : "-");
  }
  EXPECT_THAT(prompts, testing::ElementsAre("-", "first", "first", "second"));
}

}  // namespace
}  // namespace ravant::test
