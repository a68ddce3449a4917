#include <gmock/gmock.h>

#include <chrono>

#include "core/store/search/search_index.hpp"
#include "core/store/search/search_reader.hpp"
#include "core/store/search/transcript_finder.hpp"
#include "core/store/transcript_import.hpp"
#include "platform/sqlite/database.hpp"
#include "tests/support/store.hpp"

namespace ravant::test {
namespace {

using testing::AllOf;
using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

class Search : public testing::Test {
 protected:
  void message(ConversationId id, const std::string& text) {
    store.clock->advance(std::chrono::minutes(1));
    run(store.items->appendAgentMessage(id, "{}", text, {}, {}));
  }
  void call(ConversationId id, const std::string& input, const std::string& output, ToolOutcome outcome) {
    store.clock->advance(std::chrono::minutes(1));
    run(store.items->appendToolInvocation(id, "{}", "Bash", "Bash", "1", input, std::nullopt,
                                          ToolInvocationStatus::running));
    run(store.items->completeToolInvocation(id, "1", output, outcome));
  }
  /// As many replies, a minute apart and in one transaction.
  void bringIn(std::int64_t count, Timestamp first, const std::string& text, std::string session) {
    NextImportedItem next = [=, done = std::int64_t{0}]() mutable -> std::optional<ConversationItem> {
      if (done == count) return std::nullopt;
      return ConversationItem{
          .rawJSON = {}, .createdAt = first + done++ * std::chrono::minutes(1), .text = text, .detail = AgentMessage{}};
    };
    const auto import = TranscriptImport::make(store.container);
    const ProjectId project = run(store.projects->projects()).front().id;
    ASSERT_TRUE(run(import->create(
        {.project = project,
         .createdAt = first,
         .lastActivityAt = first,
         .lastPromptAt = first,
         .foreignAgentType = AgentType::pi},
        next, ImportedSession{.agent = AgentType::pi, .sessionId = session, .file = "/s", .state = "{}"})));
  }
  std::vector<SearchHit> hits(SearchQuery query) {
    while (run(index->takeInSome())) {
    }
    return run(reader->search(std::move(query))).hits;
  }
  std::vector<std::string> snippets(SearchQuery query) {
    std::vector<std::string> texts;
    for (const SearchHit& hit : hits(std::move(query))) texts.push_back(hit.snippet.text);
    return texts;
  }

  TemporaryFolder folder;
  OpenStore store{folder.path()};
  std::shared_ptr<SearchIndex> index = SearchIndex::make(store.container, {.pause = {}});
  std::shared_ptr<SearchReader> reader = SearchReader::make(store.container);
};

TEST_F(Search, NarrowsByProjectAgentKindTimeAndFailure) {
  const ConversationId one = store.makeConversation(AgentType::claude, "/one");
  const ConversationId two = store.makeConversation(AgentType::pi, "/two");
  run(store.items->appendUserPrompt(one, "needle prompt", AgentType::claude));
  message(one, "needle reply");
  message(one, "a reply\n```cpp\nneedle code\n```");
  const Timestamp later = store.clock->now() + std::chrono::seconds(30);
  call(one, "needle in", "out", ToolOutcome::completed);
  call(one, "in", "needle out", ToolOutcome::failed);
  run(store.items->appendFailureEvent(two, "{}", "needle failure"));
  run(store.items->appendCompactionEvent(two, "{}", "needle compaction"));
  const ProjectId second = run(store.projects->projects()).back().id;

  const std::string code = "a reply ```cpp needle code ```";
  using testing::UnorderedElementsAre;
  EXPECT_THAT(snippets({.text = "needle"}), UnorderedElementsAre("needle prompt", "needle reply", code, "needle in",
                                                                 "needle out", "needle failure", "needle compaction"));
  EXPECT_THAT(snippets({.text = "needle", .project = second}),
              UnorderedElementsAre("needle failure", "needle compaction"));
  EXPECT_THAT(snippets({.text = "needle", .project = ProjectId(Uuid::random())}), IsEmpty());
  EXPECT_THAT(snippets({.text = "needle", .agent = AgentType::pi}),
              UnorderedElementsAre("needle failure", "needle compaction"));
  const std::vector<std::pair<SearchKind, std::vector<std::string>>> kinds = {
      {SearchKind::userMessage, {"needle prompt"}},
      {SearchKind::agentMessage, {code, "needle reply"}},
      {SearchKind::toolInvocationGroup, {"needle in", "needle out"}},
      {SearchKind::compactionEvent, {"needle compaction"}},
      {SearchKind::failureEvent, {"needle failure"}},
      {SearchKind::code, {"needle code"}},
      {SearchKind::toolInput, {"needle in"}},
      {SearchKind::toolOutput, {"needle out"}}};
  for (const auto& [kind, expected] : kinds) {
    EXPECT_THAT(snippets({.text = "needle", .kind = kind}), testing::UnorderedElementsAreArray(expected))
        << rawValue(kind);
    EXPECT_THAT(snippets({.text = "needl", .lastWord = LastWord::begun, .kind = kind}),
                testing::UnorderedElementsAreArray(expected));
  }
  EXPECT_THAT(snippets({.text = "needle", .tools = ToolFilter::failed}), ElementsAre("needle out"));
  EXPECT_THAT(snippets({.text = "needle", .kind = SearchKind::agentMessage, .tools = ToolFilter::failed}), IsEmpty());
  EXPECT_THAT(snippets({.text = "needle", .agent = AgentType::claude, .since = later}),
              UnorderedElementsAre("needle in", "needle out"));
  EXPECT_THAT(snippets({.text = "needle", .until = kMorning + std::chrono::seconds(1)}), ElementsAre("needle prompt"));
}

TEST_F(Search, PutsTheBestFirstAndTheNewestAmongEquals) {
  const ConversationId id = store.makeConversation();
  message(id, "the parser, at line end one");
  message(id, "line parser");
  message(id, "the parser, at line end two");
  message(id, "nothing of it");
  EXPECT_THAT(snippets({.text = "line parser"}),
              ElementsAre("line parser", "the parser, at line end two", "the parser, at line end one"));
  EXPECT_THAT(snippets({.text = "line parser", .limit = 1}), ElementsAre("line parser"));
  const auto hit = hits({.text = "nothing"}).front();
  EXPECT_EQ(hit.conversation, id);
  EXPECT_EQ(hit.kind, ConversationItemKind::agentMessage);
  EXPECT_EQ(hit.createdAt, kMorning + std::chrono::minutes(4));
}

TEST_F(Search, FollowsACallWhileItRunsAndAfterItHasEnded) {
  const ConversationId id = store.makeConversation();
  run(store.items->appendToolInvocation(id, "{}", "Bash", "Bash", "1", "make first", std::nullopt,
                                        ToolInvocationStatus::running));
  EXPECT_THAT(hits({.text = "first"}), SizeIs(1));
  index = SearchIndex::make(store.container, {.pause = {}});  // one that has not looked at it a moment ago
  run(store.items->apply(id,
                         {turn::UpdateToolInvocation{.toolCallId = "1", .input = "make second", .output = "some"}}));
  EXPECT_THAT(hits({.text = "second some"}), SizeIs(1));
  EXPECT_THAT(hits({.text = "first"}), IsEmpty());
  run(store.items->completeToolInvocation(id, "1", "late", ToolOutcome::failed));
  EXPECT_THAT(hits({.text = "late", .tools = ToolFilter::failed}), SizeIs(1));
  EXPECT_THAT(hits({.text = "some"}), IsEmpty());
}

TEST_F(Search, LosesNothingOfATextThatIsTooLargeForTheIndex) {
  constexpr std::size_t kIndexed = 128 * 1024;
  index = SearchIndex::make(store.container, {.entryBytes = kIndexed, .pause = {}});
  const ConversationId id = store.makeConversation();
  std::string large(kIndexed + 50'000, 'x');
  for (std::size_t i = 0; i < large.size(); i += 1000) large[i] = '\n';
  call(id, "cat", large + " needle", ToolOutcome::completed);
  message(id, "something else");
  EXPECT_THAT(hits({.text = "needle"}), SizeIs(1));
  EXPECT_THAT(hits({.text = "needles"}), IsEmpty());
  sqlite::Database database = store.container->connect();
  EXPECT_FALSE(
      database.prepare("SELECT 1 FROM search_invocation WHERE search_invocation MATCH 'needle'").query().step())
      << "it was not too large";
}

TEST_F(Search, FindsTheWordsOfWhatAnAgentWrote) {
  const ConversationId id = store.makeConversation();
  call(id, R"({"file_path":"/new.cpp","content":"int x;\nparser y;\t\"\u00c9t\ud83d\ude00t\" C:\\new"})",
       "[INFO] c:\\next", ToolOutcome::completed);
  for (const char* text : {"parser", "\"x; parser\"", "\"parser y\"", "et", "c:\\new", "\\next", "file_path", "cpp"}) {
    EXPECT_THAT(snippets({.text = text}), SizeIs(1)) << text;
  }
  EXPECT_THAT(snippets({.text = "parser", .kind = SearchKind::toolInput}), Contains(HasSubstr("int x; parser y;")));
  EXPECT_THAT(snippets({.text = "nparser"}), IsEmpty());
  const auto finder = TranscriptFinder::make(store.container);
  EXPECT_THAT(run(finder->find(id, "X; Parser", {}, FindDirection::next)).value().snippet.text,
              HasSubstr("int x; parser y;"));
}

TEST_F(Search, TakesTheNewestByTheirTimesWhateverCameInLast) {
  const ConversationId id = store.makeConversation();
  for (int i = 0; i < 80; ++i) message(id, "needle of today");
  const Timestamp today = kMorning + std::chrono::seconds(1);
  const Timestamp lastYear = kMorning - std::chrono::days(400);
  for (const std::int64_t count : {100, 1500}) {  // few and many
    bringIn(count, lastYear, "needle of last year", std::to_string(count));
    for (const char* text : {"needle", "need*"}) {
      EXPECT_THAT(snippets({.text = text}), Each("needle of today")) << text << count;
      EXPECT_THAT(snippets({.text = text, .until = today}), AllOf(SizeIs(20), Each("needle of last year")));
      EXPECT_THAT(snippets({.text = text, .since = today, .limit = 1000}), SizeIs(80));
      EXPECT_THAT(snippets({.text = text, .agent = AgentType::pi}), AllOf(SizeIs(20), Each("needle of last year")));
    }
  }
}

TEST_F(Search, FindsWhatIsRareAmongManyAndLetsTheNewestCompete) {
  const ConversationId id = store.makeConversation();
  message(id, "needle needle needle");
  call(id, "needle", "rare", ToolOutcome::failed);
  bringIn(1200, kMorning + std::chrono::hours(1), "a needle in many", "s");
  const Timestamp second = kMorning + std::chrono::seconds(90);
  EXPECT_THAT(snippets({.text = "needle", .until = second}), ElementsAre("needle needle needle"));
  EXPECT_THAT(snippets({.text = "needle", .tools = ToolFilter::failed}), ElementsAre("needle"));
  EXPECT_THAT(snippets({.text = "\"needle needle\""}), ElementsAre("needle needle needle"));
  EXPECT_THAT(snippets({.text = "needle", .kind = SearchKind::agentMessage}),
              AllOf(SizeIs(20), Each("a needle in many")));
  EXPECT_EQ(hits({.text = "needle", .kind = SearchKind::agentMessage, .limit = 5000}).front().snippet.text,
            "needle needle needle");
  const auto newest = hits({.text = "need*", .kind = SearchKind::agentMessage, .limit = 3});
  EXPECT_THAT(newest, SizeIs(3));
  EXPECT_EQ(newest.front().createdAt, kMorning + std::chrono::hours(1) + std::chrono::minutes(1199));
}

TEST_F(Search, ReachesBackBeforeTheEpoch) {
  store.makeConversation();
  bringIn(1200, Timestamp{} - std::chrono::days(400), "an old needle", "s");
  EXPECT_THAT(snippets({.text = "needle", .until = Timestamp{}}), AllOf(SizeIs(20), Each("an old needle")));
}

TEST_F(Search, EndsWhereItIsStopped) {
  const ConversationId id = store.makeConversation();
  message(id, "needle");
  EXPECT_THAT(hits({.text = "needle"}), SizeIs(1));
  std::stop_source stop;
  stop.request_stop();
  const SearchResult result = run(reader->search({.text = "needle"}, stop.get_token()));
  EXPECT_THAT(result.hits, IsEmpty());
  EXPECT_FALSE(result.isComplete);
  const auto finder = TranscriptFinder::make(store.container);
  EXPECT_FALSE(run(finder->find(id, "needle", {}, FindDirection::next, stop.get_token())));
  EXPECT_EQ(run(finder->count(id, "needle", {}, stop.get_token())).items, 0);
}

TEST_F(Search, TakesAnyTextForASearch) {
  message(store.makeConversation(), "a AND b OR c NEAR(d, 2) * ^e");
  std::string large;
  while (large.size() < 10'000) large += "\"a AND (b* OR ^c NEAR( ";
  for (const std::string& query :
       {std::string("\""), std::string("***"), std::string("\0\"*", 3), std::string("-> << ("), std::string("\xff\xfe"),
        std::string(5000, '*'), std::string("\uE000w*")}) {
    EXPECT_THAT(hits({.text = query, .lastWord = LastWord::begun}), IsEmpty()) << query;
  }
  EXPECT_THAT(hits({.text = large}), SizeIs(0));
  EXPECT_THAT(hits({.text = "a AND b* NEAR( ^e"}), SizeIs(1));
}

TEST(Finder, GoesFromItemToItemRoundTheEnds) {
  const TemporaryFolder folder;
  OpenStore store(folder.path());
  const ConversationId id = store.makeConversation();
  const auto finder = TranscriptFinder::make(store.container);
  run(store.items->appendUserPrompt(id, "Look at a->b", AgentType::claude));
  run(store.items->appendAgentMessage(id, "{}", "nothing", {}, {}));
  run(store.items->appendToolInvocation(id, "{}", "Bash", "Bash", "1", "ls", "x\nA->B",
                                        ToolInvocationStatus::completed));
  run(store.items->appendAgentMessage(id, "{}", "É a->B", {}, {}));
  const auto items = store.transcript(id);
  const auto find = [&](std::optional<std::size_t> from, FindDirection direction) {
    const auto anchor = from ? std::optional(items[*from].id) : std::nullopt;
    const auto hit = run(finder->find(id, "A->b", anchor, direction));
    return std::ranges::find(items, hit.value().item, &ConversationItem::id) - items.begin();
  };
  using enum FindDirection;
  EXPECT_THAT((std::vector{find({}, next), find(0, next), find(1, next), find(2, next), find(3, next)}),
              ElementsAre(0, 2, 2, 3, 0));
  EXPECT_THAT((std::vector{find({}, previous), find(3, previous), find(1, previous), find(0, previous)}),
              ElementsAre(3, 2, 0, 3));
  EXPECT_EQ(run(finder->count(id, "a->b", items[2].id)),
            (TranscriptFinder::Count{.items = 3, .position = 2, .places = {0, 0.5, 0.75}}));
  for (int each = 0; each < 1000; ++each) run(store.items->appendAgentMessage(id, "{}", "a->b", {}, {}));
  EXPECT_THAT(run(finder->count(id, "a->b")).places, SizeIs(TranscriptFinder::kMostPlaces));
  EXPECT_EQ(run(finder->find(id, "e a", {}, next)).value().snippet.marks, (std::vector<TextSpan>{{0, 4}}));
  EXPECT_TRUE(run(finder->find(id, "A->B", items[0].id, next)).value().invocation);
  EXPECT_FALSE(run(finder->find(id, "missing", {}, next)));
  EXPECT_FALSE(run(finder->find(id, "", {}, next)));
}

}  // namespace
}  // namespace ravant::test
