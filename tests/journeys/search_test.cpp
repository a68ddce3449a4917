#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/sqlite/database.hpp"
#include "tests/journeys/sandbox.hpp"
#include "tests/support/pseudo_terminal.hpp"

namespace ravant::test {
namespace {

using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::MatchesRegex;
using ::testing::Not;
using ::testing::StartsWith;

class SearchJourney : public testing::Test {
 protected:
  void SetUp() override {
    sandbox.addAgent(claude_says::begin() + claude_says::text("The segfault is in LineReader::fill.") +
                     claude_says::toolUse("1", "gdb ./parser") +
                     claude_says::toolResult("1", "\033[2JSIGSEGV in fill()") + claude_says::end());
    ASSERT_EQ(sandbox.run({"run", "--agent", "claude", "--title", "Crash", "Why does the parser crash?"}).status, 0);
    conversation = std::string(sandbox.json({"conversation", "list"}).at(0).at("id").as_string());
  }

  json::array search(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), {"conversation", "search"});
    return sandbox.json(std::move(arguments)).as_array();
  }

  Sandbox sandbox;
  std::string conversation;
};

TEST_F(SearchJourney, FindsWhatWasSaidAndDone) {
  const json::array found = search({"linereader"});
  ASSERT_EQ(found.size(), 1U);
  const json::object& hit = found.front().as_object();
  EXPECT_EQ(hit.at("conversation").as_string(), conversation);
  EXPECT_EQ(hit.at("kind").as_string(), "agentMessage");
  EXPECT_EQ(hit.at("snippet").as_string(), "The segfault is in LineReader::fill.");
  EXPECT_FALSE(hit.contains("invocation"));

  const json::array output = search({"sigsegv", "--kind", "toolOutput", "--agent", "claude", "--since", "1h"});
  ASSERT_EQ(output.size(), 1U);
  EXPECT_TRUE(output.front().as_object().contains("invocation"));
  EXPECT_EQ(search({"fill", "--limit", "1"}).size(), 1U);
  EXPECT_THAT(search({"sigsegv", "--failed"}), IsEmpty());
  EXPECT_THAT(search({"sigsegv", "--until", "2020-01-01"}), IsEmpty());
  EXPECT_THAT(search({"nowhere"}), IsEmpty());

  const ProgramResult text = sandbox.run({"conversation", "search", "sigsegv"});
  EXPECT_THAT(text.output,
              AllOf(HasSubstr(conversation.substr(0, 8)), HasSubstr("Crash"), HasSubstr("SIGSEGV in fill()")));
  EXPECT_EQ(text.output.find('\033'), std::string::npos);
  const ProgramResult symbols = sandbox.run({"conversation", "search", "--", "->"});
  EXPECT_EQ(symbols.status, 0);
  EXPECT_THAT(symbols.errors, HasSubstr("conversation find"));
  for (const auto& [option, word] : {std::pair("--since", "soon"), std::pair("--until", "2026-02-30"),
                                     std::pair("--kind", "everything"), std::pair("--since", "-3d")}) {
    EXPECT_EQ(sandbox.run({"conversation", "search", "fill", option, word}).status, 2) << word;
  }

  const json::value inOne = sandbox.json({"conversation", "find", conversation, "::FILL"});
  EXPECT_EQ(inOne.at("count"), 1);
  EXPECT_EQ(inOne.at("items").at(0).at("snippet").as_string(), "The segfault is in LineReader::fill.");
  EXPECT_EQ(sandbox.json({"conversation", "find", conversation, "parser", "--last", "1"}).at("items").as_array().size(),
            1U);
  const ProgramResult numbered = sandbox.run({"conversation", "find", conversation, "::fill"});
  EXPECT_THAT(numbered.output,
              AllOf(StartsWith("entry 2 of 3 (--last 2)  "), Not(HasSubstr(conversation.substr(0, 8)))));
  EXPECT_THAT(numbered.errors, HasSubstr("ravant conversation show " + conversation.substr(0, 8) + " --last N\n"));
  const json::value from = sandbox.json({"conversation", "show", conversation, "--last", "2"});
  EXPECT_EQ(from.at("items").at(0).at("text").as_string(), "The segfault is in LineReader::fill.");
}

TEST_F(SearchJourney, TheIndexIsSeenAndMadeAnew) {
  search({"fill"});
  EXPECT_EQ(sandbox.run({"doctor", "--json"}).output.contains("\"unindexed\":0"), true);
  sqlite::Database database(sandbox.data() / "store.sqlite", {.access = sqlite::Access::readWrite});
  database.execute("INSERT INTO search_item (search_item) VALUES ('delete-all')");
  EXPECT_THAT(search({"linereader"}), IsEmpty());
  auto count =
      database.prepare("SELECT (SELECT count(*) FROM conversation_item) + (SELECT count(*) FROM tool_invocation)");
  auto row = count.query();
  row.step();
  EXPECT_EQ(sandbox.json({"doctor", "--rebuild-index"}).at("entries").as_int64(), row.int64(0));
  EXPECT_EQ(search({"linereader"}).size(), 1U);

  sandbox.run({"conversation", "delete", conversation, "--yes"});
  EXPECT_THAT(search({"linereader"}), IsEmpty());
}

TEST_F(SearchJourney, AStoreThatCannotBeWrittenIsSearchedAsFarAsItIsIndexed) {
  search({"fill"});
  sqlite::Database(sandbox.data() / "store.sqlite", {.access = sqlite::Access::readWrite})
      .execute("UPDATE search_progress SET up_to = up_to - 1 WHERE source = 'item'");
  const auto ran = sandbox.runWithMounts(
      "data=$RAVANT_DATA_DIR\n"
      "mount --bind \"$data\" \"$data\" && mount -o remount,bind,ro \"$data\" || exit 99\n"
      "ravant conversation search crash\n");
  if (!ran) GTEST_SKIP() << "this machine lets tests mount nothing";
  EXPECT_EQ(ran->status, 0);
  EXPECT_THAT(ran->output, HasSubstr("Why does the parser crash?"));
  EXPECT_THAT(ran->errors, HasSubstr("entries are not searched"));
}

}  // namespace
}  // namespace ravant::test
