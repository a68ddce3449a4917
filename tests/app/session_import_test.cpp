#include "app/session_import.hpp"

#include <gmock/gmock.h>

#include <limits>

#include "core/conversation_state.hpp"
#include "core/store/conversation_item_model_actor.hpp"
#include "core/store/transcript_writer.hpp"
#include "tests/runners/session_lines.hpp"
#include "tests/support/run.hpp"

namespace ravant::test {
namespace {

using namespace session_lines;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

constexpr std::chrono::hours kOneHour{1};
constexpr std::string_view kFile = "projects/-p/s1.jsonl";

std::string timeFromNow(std::chrono::seconds offset) { return iso8601(SystemClock().now() + offset); }

class SessionImportTest : public ::testing::Test {
 protected:
  ~SessionImportTest() override { run(application_->shutdown()); }

  SessionImportResult import(AgentType agent = AgentType::claude) {
    return run(importSessions(*application_, {.agent = agent, .from = folder_.path()}));
  }
  void write(const std::vector<std::string>& lines) const {
    writeSessions(folder_.path(), {{std::string(kFile), lines}});
  }
  void appendText(std::string_view text) const {
    std::ofstream(folder_ / kFile, std::ios::binary | std::ios::app) << text;
  }
  void append(const std::vector<std::string>& lines) const {
    for (const std::string& line : lines) appendText(line + "\n");
  }
  void replaceFile() const {
    std::filesystem::rename(folder_ / kFile, folder_ / "old");
    std::filesystem::copy(folder_ / "old", folder_ / kFile);
  }
  Conversation onlyConversation() {
    const auto found = run(application_->conversations().conversations({.archived = ArchivedConversations::included}));
    EXPECT_THAT(found, SizeIs(1));
    return found.at(0).conversation;
  }
  std::vector<ConversationItem> items() {
    return run(application_->transcripts().items(onlyConversation().id, std::nullopt));
  }
  std::vector<std::string> texts() {
    std::vector<std::string> texts;
    for (const ConversationItem& item : items()) {
      const auto* group = std::get_if<ToolInvocationGroup>(&item.detail);
      texts.push_back(item.text);
      if (!group) continue;
      for (const ToolInvocation& call : group->invocations)
        texts.back() += call.toolCallId + "=" + call.output.value_or("-");
    }
    return texts;
  }
  std::vector<std::string> reasons(const SessionImportResult& result) {
    std::vector<std::string> reasons;
    for (const SkippedSession& skipped : result.skipped) reasons.push_back(skipped.reason);
    return reasons;
  }

  TemporaryFolder folder_;
  std::unique_ptr<Application> application_ = Application::open(
      {.dataFolder = folder_ / "data", .settingsFile = folder_.write("settings.json", R"({"keyStore":"file"})")});
};

const std::vector<std::string> kTurn = {claudePrompt("u1", "", "Go"),
                                        claudeReply("r1", "u1", "m1", R"({"type":"text","text":"Gone."})")};
const std::vector<std::string> kNextTurn = {claudePrompt("u2", "r1", "More"),
                                            claudeReply("r2", "u2", "m2", R"({"type":"text","text":"Most."})")};
const std::string kCall =
    claudeReply("r2", "u2", "m2", R"({"type":"tool_use","id":"c1","name":"Bash","input":{}})", "tool_use");

TEST_F(SessionImportTest, makesAConversationThatGoesOnThere) {
  write({kTurn[0], R"({"type":"custom-title","customTitle":" Mine "})",
         claudeReply("r1", "u1", "m1", R"({"type":"text","text":"Gone."})", "end_turn", 7, "2025-11-22T03:00:05Z"),
         claude("assistant", "r2", "r1",
                R"("message":{"model":"<synthetic>","content":[{"type":"text","text":"Too long"}],)"
                R"("usage":{"output_tokens":0}})")});
  const SessionImportResult result = import();
  EXPECT_EQ(result.conversations, 1);
  EXPECT_EQ(result.items, 3);
  EXPECT_THAT(result.skipped, IsEmpty());
  const Conversation made = onlyConversation();
  EXPECT_EQ(made.agentResumedSessionId, "s1");
  EXPECT_EQ(made.title, "Mine");
  EXPECT_EQ(made.lastUsedModel, "model");
  EXPECT_EQ(made.lastOutputTokens, 7);
  EXPECT_EQ(made.createdAt, parseIso8601(kTime));
  EXPECT_EQ(made.lastPromptAt, parseIso8601(kTime));
  EXPECT_EQ(made.lastActivityAt, parseIso8601("2025-11-22T03:00:05Z"));
  EXPECT_EQ(run(application_->projects().projects()).at(0).path, "/p");
  EXPECT_EQ(items().at(0).rawJSON, kTurn[0]);
}

TEST_F(SessionImportTest, bringsInWhatIsNewAndLeavesTheRest) {
  write(kTurn);
  import();
  const auto before = items();
  const SessionImportResult again = import();
  EXPECT_EQ(again.conversations + again.items + again.grown, 0);
  EXPECT_EQ(again.known, 1);

  append(kNextTurn);
  const SessionImportResult grown = import();
  EXPECT_EQ(grown.conversations, 0);
  EXPECT_EQ(grown.items, 2);
  EXPECT_EQ(grown.grown, 1);
  EXPECT_THAT(texts(), ElementsAre("Go", "Gone.", "More", "Most."));
  EXPECT_EQ(items().at(1), before.at(1));
}

TEST_F(SessionImportTest, waitsForTheEndOfATurnAndOfALine) {
  write(kTurn);
  append({claudePrompt("u2", "r1", "More", R"("promptSource":"sdk")", timeFromNow(std::chrono::seconds(-9)))});
  const std::string late = timeFromNow(std::chrono::seconds(-5));
  append(
      {claudeReply("r2", "u2", "m2", R"({"type":"tool_use","id":"c1","name":"Bash","input":{}})", "tool_use", 5, late),
       claudePrompt("q1", "r2", "Waits", R"("promptSource":"queued")", late)});
  const std::string result = claudeResult("t1", "r2", "c1", "out", late);
  appendText(result.substr(0, 40));
  EXPECT_THAT(reasons(import()), ElementsAre("its last line is not whole; another import brings it in",
                                             "its last turn has not ended; another import brings it in"));
  EXPECT_THAT(texts(), ElementsAre("Go", "Gone."));

  appendText(result.substr(40) + "\n");
  append({claudeReply("r3", "t1", "m3", R"({"type":"text","text":"Most."})", "end_turn", 5, late)});
  EXPECT_THAT(import().skipped, IsEmpty());
  EXPECT_THAT(texts(), ElementsAre("Go", "Gone.", "More", "c1=out", "Waits", "Most."));
}

TEST_F(SessionImportTest, takesATurnThatNobodyWaitsForAndItsLateResult) {
  write(kTurn);
  append({kNextTurn[0], kCall});
  EXPECT_THAT(import().skipped, IsEmpty());
  EXPECT_THAT(texts(), ElementsAre("Go", "Gone.", "More", "c1=" + std::string(kUnfinishedTool)));
  append({claudeResult("t1", "r2", "c1", "out"), claudeReply("r3", "t1", "m3", R"({"type":"text","text":"Most."})")});
  import();
  EXPECT_THAT(texts(), ElementsAre("Go", "Gone.", "More", "c1=out", "Most."));
  const ToolInvocation call = std::get<ToolInvocationGroup>(items().at(3).detail).invocations.at(0);
  EXPECT_EQ(call.completedAt, parseIso8601(kTime));
  EXPECT_EQ(onlyConversation().lastActivityAt, parseIso8601(kTime));

  append({claudePrompt("u3", "r3", "Last"),
          claudeReply("r4", "u3", "m4", R"({"type":"tool_use","id":"c2","name":"Bash","input":{}})", "tool_use")});
  import();
  replaceFile();
  append({claudeResult("t2", "r4", "c2", "late")});
  import();
  EXPECT_EQ(texts().back(), "c2=late");
}

TEST_F(SessionImportTest, doublesNothingOfATurnThatGoesOnLater) {
  write(kTurn);
  append({kNextTurn[0], kCall});
  import();
  const std::string late = timeFromNow(std::chrono::seconds(-5));
  for (const bool isReplaced : {false, true}) {
    if (isReplaced) replaceFile();
    append({claudeResult(isReplaced ? "t2" : "t1", "r2", "c1", "out", late)});
    EXPECT_EQ(import().items, 0) << "it works again";
  }
  append({claudeReply("r3", "t1", "m3", R"({"type":"text","text":"Most."})", "end_turn", 5, late)});
  import();
  EXPECT_THAT(texts(), ElementsAre("Go", "Gone.", "More", "c1=out", "Most."));
}

TEST_F(SessionImportTest, givesACommandItsLateResultOnce) {
  const std::string thread = "11111111-1111-7111-8111-111111111111";
  const std::string path = "sessions/2026/11/22/rollout-2026-11-22T10-00-00-" + thread + ".jsonl";
  const auto ended = [](int ordinal, std::string_view members, std::int64_t startedAt = 1'763'780'404'000) {
    return codexEvent(ordinal, fmt::format(R"("type":"item_completed","turn_id":"t1","started_at_ms":{},)"
                                           R"("item":{{"type":"CommandExecution",{}}})",
                                           startedAt, members));
  };
  std::vector<std::string> lines = {
      codexMeta(thread),
      codexTurn(1, "t0", "Go"),
      codexEvent(2, R"("type":"task_started","turn_id":"t1")"),
      codexCommand(3, "c1", "read"),
      codexCommand(4, "c2", "make"),
      ended(5, R"("id":"c3","command":["ls"],"status":"completed","aggregated_output":"a","exit_code":0)"),
      ended(5, R"("id":"c4","command":["ls"],"status":"completed","aggregated_output":"b","exit_code":0)", 0),
      ended(5, R"("id":"c5","command":["ls"],"status":"completed","aggregated_output":"c","exit_code":0)",
            std::numeric_limits<std::int64_t>::max()),
      codexEvent(6, R"("type":"task_complete","turn_id":"t1")")};
  writeSessions(folder_.path(), {{path, lines}});
  import(AgentType::codex);
  lines.push_back(ended(7, R"("id":"c1","command":["read"],"status":"failed","aggregated_output":"","exit_code":-1)"));
  lines.push_back(
      ended(8, R"("id":"c2","command":["make"],"status":"completed","aggregated_output":"built","exit_code":0)"));
  writeSessions(folder_.path(), {{path, lines}});
  EXPECT_EQ(import(AgentType::codex).items, 0);
  EXPECT_THAT(texts(), ElementsAre("Go", "c1=" + std::string(kUnfinishedTool) + "c2=builtc3=ac4=bc5=c"));
  const auto calls = std::get<ToolInvocationGroup>(items().at(1).detail).invocations;
  EXPECT_EQ(*calls.at(2).completedAt - calls.at(2).createdAt, std::chrono::seconds(1));
  EXPECT_EQ(calls.at(3).createdAt, calls.at(3).completedAt) << "no time that it can have begun at";
  EXPECT_EQ(calls.at(4).createdAt, calls.at(4).completedAt);
}

TEST_F(SessionImportTest, takesWhatIsOddlyDatedOrPlaced) {
  write({R"({"type":"user","uuid":"u0","parentUuid":"x","cwd":"/p","message":{"content":"Undated"}})",
         claude("user", "u1", "u0", R"("message":{"content":"Ahead"})", timeFromNow(std::chrono::hours(2)))});
  EXPECT_THAT(import().skipped, IsEmpty());
  EXPECT_THAT(texts(), ElementsAre("Undated", "Ahead"));
  EXPECT_GT(items().at(0).createdAt, *parseIso8601(kTime));
}

TEST_F(SessionImportTest, asksPiForTheModelAsItIsListed) {
  writeSessions(folder_.path(), {{"sessions/--p--/1_s1.jsonl",
                                  {R"({"type":"session","version":3,"id":"s1","cwd":"/"})", piPrompt("e1", "", "Go"),
                                   piReply("e2", "e1", R"({"type":"text","text":"Gone."})", "stop")}}});
  EXPECT_THAT(reasons(import(AgentType::pi)), ElementsAre(testing::HasSubstr("it is the root of the file system")));
  run(application_->projects().create("/", "/"));
  import(AgentType::pi);
  EXPECT_EQ(onlyConversation().lastUsedModel, "maker/mock");
}

TEST_F(SessionImportTest, goesOnWhereAnotherWasCut) {
  write(kTurn);
  import();
  const std::string large(5 * 1024 * 1024, '.');  // more than is stored at once
  const std::string reply = claudeReply("r2", "u2", "m2", R"({"type":"text","text":")" + large + R"("})");
  const auto cut = [&, next = 0]() mutable -> std::optional<ConversationItem> {
    const Timestamp at = onlyConversation().lastActivityAt;
    switch (next++) {
      case 0:
        return ConversationItem{.rawJSON = kNextTurn[0], .createdAt = at, .text = "More", .detail = UserMessage{}};
      case 1:
        return ConversationItem{.rawJSON = reply, .createdAt = at, .text = large, .detail = AgentMessage{}};
      default:
        throw std::runtime_error("cut");
    }
  };
  const auto known = run(application_->transcriptImport().knownSession(AgentType::claude, "s1"));
  const SessionGrowth growth{
      .before = onlyConversation(), .after = {}, .readBefore = known->imported, .read = *known->imported};
  EXPECT_THROW(run(application_->transcriptImport().append(growth, cut)), std::runtime_error);
  EXPECT_EQ(items().size(), 4U);

  append({kNextTurn[0], reply, claudePrompt("u3", "r2", "Still"),
          claudeReply("r3", "u3", "m3", R"({"type":"text","text":"Most."})")});
  EXPECT_EQ(import().items, 2);
  EXPECT_THAT(texts(), ElementsAre("Go", "Gone.", "More", large, "Still", "Most."));
  EXPECT_EQ(import().known, 1);
}

TEST_F(SessionImportTest, doublesNothingOfAFileThatWasReplaced) {
  write(kTurn);
  append({kNextTurn[0], kCall, claudeResult("t1", "r2", "c1", "out")});
  import();
  const auto before = items();
  // Another file under the same name, once with more and once with less than there was.
  replaceFile();
  append({claudePrompt("u3", "t1", "Go"), claudeReply("r3", "u3", "m3", R"({"type":"text","text":"Gone."})")});
  EXPECT_EQ(import().items, 2);
  EXPECT_THAT(texts(), ElementsAre("Go", "Gone.", "More", "c1=out", "Go", "Gone."));
  EXPECT_EQ(items().at(3), before.at(3));

  std::filesystem::resize_file(folder_ / kFile, kTurn[0].size() + 1);
  append({claudeReply("r9", "u1", "m9", R"({"type":"text","text":"Other."})")});
  EXPECT_EQ(import().items, 1);
  EXPECT_EQ(texts().back(), "Other.");
  EXPECT_EQ(import().items, 0);
}

TEST_F(SessionImportTest, leavesOutWhatPromptsOfThisProgramHaveStored) {
  const std::string large(2 * 1024 * 1024, '.');  // more than a page of a transcript
  write({kTurn[0], claudeReply("r1", "u1", "m1", R"({"type":"text","text":")" + large + R"("})")});
  import();
  const ConversationId id = onlyConversation().id;
  const auto store = ConversationItemModelActor::make(application_->modelContainer());
  const auto prompt = [&](const std::string& text) { run(store->appendUserPrompt(id, text, AgentType::claude)); };
  const auto now = [] { return timeFromNow({}); };
  prompt("Here");
  append({claudePrompt("u2", "r1", R"(Here\n\nultrathink)", R"("promptSource":"sdk")", now())});
  run(store->appendAgentMessage(id, "{}", "Other words", std::nullopt, std::nullopt));
  append({claudeReply("r2", "u2", "m2", R"({"type":"text","text":"Words"})", "end_turn", 5, now())});
  append({claudePrompt("u3", "r2", "There", R"("promptSource":"sdk")", now()),
          claudeReply("r3", "u3", "m3", R"({"type":"text","text":"In a terminal."})", "end_turn", 5, now())});
  prompt("Cancelled at once");
  append({claudePrompt("u4", "r3", "Cancelled at once", R"("promptSource":"sdk")", now()),
          claudePrompt("u5", "u4", "[Request interrupted by user]", R"("promptSource":"sdk")", now())});
  EXPECT_EQ(import().items, 2);
  EXPECT_THAT(texts(), ElementsAre("Go", large, "Here", "Other words", "Cancelled at once", "There", "In a terminal."));
  EXPECT_EQ(import().items, 0);

  replaceFile();
  EXPECT_EQ(import().items, 0) << "read anew";
  replaceFile();
  append({claudePrompt("u6", "u5", "Here", R"("promptSource":"sdk")", timeFromNow(std::chrono::seconds(9)))});
  EXPECT_EQ(import().items, 1) << "the same words once more";
}

TEST_F(SessionImportTest, bringsInWhatOnlyLooksLikeAPromptOfThisProgram) {
  write(kTurn);
  import();
  const ConversationId id = onlyConversation().id;
  const auto store = ConversationItemModelActor::make(application_->modelContainer());
  for (const char* prompt : {"Fix it", "Go on"}) {
    run(store->beginRun(id));
    run(store->appendUserPrompt(id, prompt, AgentType::claude));
    run(store->appendFailureEvent(id, "", "not logged in"));
    run(store->endRun(id, "", PromptOutcome::failed));
  }
  append({claudePrompt("u2", "r1", "Please Fix it here", R"("promptSource":"typed")",
                       timeFromNow(std::chrono::seconds(1))),
          claudePrompt("u3", "u2", "Go on", R"("promptSource":"typed")", timeFromNow(std::chrono::seconds(9)))});
  run(store->appendFailureEvent(id, "", "an hour later"));
  application_->modelContainer()->connect().execute(
      "UPDATE conversation_item SET created_at = created_at + 3600000000 WHERE text = 'an hour later'");
  EXPECT_EQ(import().items, 2);
}

TEST_F(SessionImportTest, knowsASessionThatAPromptOfThisProgramMade) {
  const Project project = run(application_->projects().create("/p", "p"));
  const Agent agent = run(application_->agents().createAgent(AgentType::claude, "", {}));
  const auto made = run(application_->conversations().createConversation(project.id, agent.id));
  run(application_->conversations().updateResumedSessionId(*made, "s1"));
  write(kTurn);
  const SessionImportResult result = import();
  EXPECT_EQ(result.known, 1);
  EXPECT_EQ(result.conversations + result.items, 0);
  EXPECT_THAT(items(), IsEmpty());
  run(application_->agents().removeAgent(agent.id));
  EXPECT_EQ(import().known, 1) << "after its agent was removed";
}

TEST_F(SessionImportTest, followsTheAgentsTitleUntilTheUserGivesOne) {
  const auto title = [](std::string_view words) {
    return fmt::format(R"({{"type":"agent-name","agentName":"{}"}})", words);
  };
  write(kTurn);
  append({title("First")});
  import();
  append({title("Second"), R"({"type":"of-tomorrow"})"});
  EXPECT_THAT(import().skipped, SizeIs(1));
  EXPECT_THAT(import().skipped, IsEmpty()) << "not read again";
  EXPECT_EQ(onlyConversation().title, "Second");
  run(application_->conversations().renameConversation(onlyConversation().id, "The user's"));
  append({title("Third")});
  import();
  EXPECT_EQ(onlyConversation().title, "The user's");
}

struct PromptRow {
  const char* name;
  AgentType agent;
  std::string prompt;  ///< as a JSON text has it
  std::string title;   ///< that the conversation is shown with
};

class TitleOfPrompt : public SessionImportTest, public ::testing::WithParamInterface<PromptRow> {};

TEST_P(TitleOfPrompt, isWhatTheUserTyped) {
  const PromptRow& row = GetParam();
  const std::string thread = "11111111-1111-7111-8111-111111111111";
  const auto writeWith = [&](const std::vector<std::string>& more) {
    std::vector<std::string> lines = {claudePrompt("u1", "", row.prompt)};
    std::string file(kFile);
    if (row.agent == AgentType::codex) {
      lines = {codexMeta(thread), codexTurn(1, "t1", row.prompt)};
      file = "sessions/2026/11/22/rollout-2026-11-22T10-00-00-" + thread + ".jsonl";
    } else if (row.agent == AgentType::pi) {
      lines = {piHeader("s1"), piPrompt("e1", "", row.prompt),
               piReply("e2", "e1", R"({"type":"text","text":"Gone."})", "stop")};
      file = "sessions/--p--/1_s1.jsonl";
    }
    std::ranges::copy(more, std::back_inserter(lines));
    writeSessions(folder_.path(), {{file, lines}});
  };
  writeWith({});
  import(row.agent);
  const auto shown = run(application_->conversations().conversation(onlyConversation().id));
  EXPECT_EQ(displayTitle(*shown), row.title);
  EXPECT_EQ(parseJson('"' + row.prompt + '"'), json::value(items().at(0).text)) << "which stays whole";

  if (row.agent != AgentType::pi) return;
  const std::string next = piPrompt("e3", "e2", "More");
  writeWith({next});
  import(row.agent);
  writeWith({next, pi("session_info", "e4", "e3", R"("name":"Its name")")});
  import(row.agent);
  EXPECT_EQ(onlyConversation().title, "Its name");
}

INSTANTIATE_TEST_SUITE_P(
    Table, TitleOfPrompt,
    ::testing::Values(
        PromptRow{"piImage", AgentType::pi, R"(<file name=\"/p/dot.png\"></file>\nSee it)", "See it"},
        PromptRow{"piTexts", AgentType::pi,
                  R"(<file name=\"/p/a>b\">\nx </file> y\n</file>\n<file name=\"/p/c\">\nz\n</file>\n\nMerge\nthem)",
                  "Merge"},
        PromptRow{"piFilesAlone", AgentType::pi,
                  R"(<file name=\"/p/a.txt\">\nx\n</file>\n<file name=\"/p/dot.png\"></file>\n)", "a.txt, dot.png"},
        PromptRow{"piTyped", AgentType::pi, R"(Write <file name=\"a\"></file>)", R"(Write <file name="a"></file>)"},
        PromptRow{
            "claudeEditor", AgentType::claude,
            R"(<ide_opened_file>The user opened /p/a</ide_opened_file>\n<ide_selection>x\n</ide_selection>\nMend it)",
            "Mend it"},
        PromptRow{"codexEditor", AgentType::codex,
                  R"(# Context from my IDE setup:\n\n## Open tabs:\n- a: a\n\n## My request for Codex:\nMend it\n)",
                  "Mend it"},
        PromptRow{"codexTyped", AgentType::codex, R"(Mend it\n## My request for Codex:\nx)", "Mend it"}),
    [](const auto& info) { return std::string(info.param.name); });

TEST_F(SessionImportTest, tellsWhatItPassedOverOnceForEachFile) {
  write({kTurn[0], "not JSON", "", " \r", R"({"type":"of-tomorrow"})", R"({"type":"of-tomorrow"})", "\xff", kTurn[1]});
  writeSessions(folder_.path(),
                {{"projects/-q/s2.jsonl", {R"({"type":"user","uuid":"u","message":{"content":"No folder"}})"}},
                 {"projects/-q/s3.jsonl", {R"({"type":"mode"})"}},
                 {"projects/-q/s4.jsonl", {R"({"type":"user","cwd":"/p","message":{"content":"Without an id"}})"}},
                 {"projects/-r/-s5.jsonl", kTurn}});
  EXPECT_THAT(reasons(import()),
              ElementsAre("2 records of the unknown type \"of-tomorrow\"", "2 lines that cannot be read",
                          "it does not say in which folder it was", "none of its records has a place in a conversation",
                          "the agent cannot be asked for a session of such an id"));
  EXPECT_THAT(texts(), ElementsAre("Go", "Gone."));
}

TEST_F(SessionImportTest, takesTheFileOfASessionThatWasChangedLast) {
  for (const char* file : {"projects/-o/s1.jsonl", "projects/-q/s1.jsonl"}) {
    writeSessions(folder_.path(), {{file, {claudePrompt("u1", "", "Elsewhere")}}});
    std::filesystem::last_write_time(folder_ / file, std::filesystem::file_time_type::clock::now() - kOneHour);
  }
  write(kTurn);
  const SessionImportResult result = import();
  EXPECT_EQ(result.sessions, 1);
  const std::string reason = "another file, which was changed later, holds the same session";
  EXPECT_THAT(result.skipped, ElementsAre(SkippedSession{folder_ / "projects/-o/s1.jsonl", reason},
                                          SkippedSession{folder_ / "projects/-q/s1.jsonl", reason}));
  EXPECT_THAT(texts(), ElementsAre("Go", "Gone."));
}

TEST_F(SessionImportTest, bringsInABranchThatTheUserWentBackTo) {
  std::vector<std::string> lines = {piHeader("s1"), piPrompt("e1", "", "Go"),
                                    piReply("e2", "e1", R"({"type":"text","text":"Gone."})", "stop")};
  const auto write = [&](const std::string& prompt, const std::string& before, const std::string& words) {
    lines.push_back(piPrompt(prompt, before, words));
    lines.push_back(piReply("r" + prompt, prompt, R"({"type":"text","text":"To )" + words + R"("})", "stop"));
    writeSessions(folder_.path(), {{"sessions/--p--/1_s1.jsonl", lines}});
  };
  write("a1", "e2", "A");
  write("b1", "e2", "B");
  import(AgentType::pi);
  EXPECT_THAT(texts(), ElementsAre("Go", "Gone.", "B", "To B"));
  write("a2", "ra1", "A again");
  EXPECT_EQ(import(AgentType::pi).items, 4);
  EXPECT_THAT(texts(), ElementsAre("Go", "Gone.", "B", "To B", "A", "To A", "A again", "To A again"));
  write("a3", "ra2", "On");
  EXPECT_EQ(import(AgentType::pi).items, 2);
}

TEST_F(SessionImportTest, keepsAPromptThatWasSentAgainInPlaceOfItself) {
  const std::string thread = "11111111-1111-7111-8111-111111111111";
  const std::string path = "sessions/2026/11/22/rollout-2026-11-22T10-00-00-" + thread;
  writeSessions(folder_.path(),
                {{path + ".jsonl", {codexMeta(thread), codexTurn(1, "t1", "One"), codexTurn(2, "t2", "Two")}}});
  import(AgentType::codex);
  const std::string base = R"("history_base":{"thread_id":")" + thread + R"(","end_ordinal_exclusive":2},)";
  writeSessions(folder_.path(), {{path + "_33333333-3333-7333-8333-333333333333.jsonl",
                                  {codexMeta(thread, base, 30), codexTurn(3, "t3", "Two")}}});
  EXPECT_EQ(import(AgentType::codex).items, 1);
  EXPECT_THAT(texts(), ElementsAre("One", "Two", "Two"));
}

TEST_F(SessionImportTest, archivesWhatCodexPutsIntoItsArchive) {
  const std::string thread = "11111111-1111-7111-8111-111111111111";
  const std::string file = "rollout-2026-11-22T10-00-00-" + thread + ".jsonl";
  writeSessions(folder_.path(), {{"sessions/2026/11/22/" + file, {codexMeta(thread), codexTurn(1, "t1", "Go")}}});
  EXPECT_EQ(import(AgentType::codex).conversations, 1);
  EXPECT_FALSE(onlyConversation().archived);
  std::filesystem::create_directory(folder_ / "archived_sessions");
  std::filesystem::rename(folder_ / ("sessions/2026/11/22/" + file), folder_ / ("archived_sessions/" + file));
  const SessionImportResult moved = import(AgentType::codex);
  EXPECT_EQ(moved.conversations + moved.items, 0);
  EXPECT_TRUE(onlyConversation().archived);
  std::filesystem::rename(folder_ / ("archived_sessions/" + file), folder_ / ("sessions/2026/11/22/" + file));
  import(AgentType::codex);
  EXPECT_FALSE(onlyConversation().archived);
}

}  // namespace
}  // namespace ravant::test
