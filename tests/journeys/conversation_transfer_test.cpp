#include <gmock/gmock.h>

#include <fstream>

#include "platform/files/private_file.hpp"
#include "tests/journeys/sandbox.hpp"

namespace ravant::test {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

/// A conversation with more entries than a pipe takes at once, made of an export's own lines.
std::string largeExport(const std::string& exported, int entries) {
  const std::size_t first = exported.find("\"items\":[\n") + 10;
  const std::string entry = exported.substr(first, exported.find(",\n", first) - first);
  std::string large = exported.substr(0, first) + entry;
  for (int i = 1; i < entries; ++i) large.append(",\n").append(entry);
  return large + "\n]}\n";
}

class ConversationTransfer : public testing::Test {
 protected:
  void SetUp() override {
    from.addAgent(claude_says::begin() + claude_says::text("Hello.\n\n```c\nint x;\n```") +
                  claude_says::toolUse("call-1", "ls </script>") + claude_says::toolResult("call-1", "main.c") +
                  claude_says::end());
    ASSERT_EQ(from.run({"run", "--agent", "claude", "--title", "First", "Hello <b>"}).status, 0);
    id = std::string(from.json({"conversation", "list"}).at(0).at("id").as_string());
    exported = from.run({"conversation", "export", id, "--format", "json"}).output;
  }
  std::string file() const { return from.home() / "file"; }

  Sandbox from;
  Sandbox to;
  std::string id;
  std::string exported;
};

TEST_F(ConversationTransfer, bringsAConversationBack) {
  EXPECT_EQ(from.json({"conversation", "export", id, "--format", "json", "--output", file()}),
            json::value({{"conversation", id}, {"items", 3}, {"file", file()}}));
  EXPECT_EQ(readFile(file()), exported);
  from.json({"conversation", "export", id, "--output", file() + ".md"});
  EXPECT_THAT(readFile(file() + ".md").value(), StartsWith("# First\n"));

  const json::value done = to.json({"conversation", "import", file()});
  EXPECT_EQ(done, json::value({{"conversations", 1}, {"items", 3}, {"skipped", json::array()}}));
  EXPECT_EQ(to.run({"conversation", "export", id, "--format", "json"}).output, exported);
  const json::value listed = to.json({"conversation", "list"}).at(0);
  EXPECT_EQ(listed.at("agentType").as_string(), "claude") << "also where no such agent is registered";
  EXPECT_FALSE(listed.as_object().contains("agent"));
  EXPECT_THAT(to.run({"project", "list"}).output, HasSubstr(from.project().string()));

  const ProgramResult again = to.run({"conversation", "import", "-", file()}, exported);
  EXPECT_EQ(again.status, 0);
  EXPECT_THAT(again.output, StartsWith("Skipped standard input: the conversation is here already"));
  EXPECT_EQ(to.json({"conversation", "import", file()}).at("skipped").at(0).at("file").as_string(), file());
}

TEST_F(ConversationTransfer, keepsTheFileFromOthers) {
  const auto modeAfterExport = [&] {
    EXPECT_EQ(from.run({"conversation", "export", id, "--output", file()}).status, 0);
    return std::filesystem::status(file()).permissions();
  };
  EXPECT_EQ(modeAfterExport(), std::filesystem::perms(0600));
  std::filesystem::permissions(file(), std::filesystem::perms(0644));
  EXPECT_EQ(modeAfterExport(), std::filesystem::perms(0644)) << "the user's own wish";
}

TEST_F(ConversationTransfer, keepsAnyTimeAndNoTitle) {
  constexpr std::string_view kActivity = "\"lastActivityAt\":\"";
  std::string changed = exported;
  changed.replace(changed.find(kActivity) + kActivity.size(), 10, "9999-12-30");
  const std::size_t title = changed.find("\"First\"");
  ASSERT_EQ(to.run({"conversation", "import", "-"}, std::string(changed).replace(title, 7, "\" \\n \"")).status, 0);
  EXPECT_THAT(to.run({"conversation", "list"}).output, HasSubstr("9999-12-"));
  const json::value listed = to.json({"conversation", "list"}).at(0);
  EXPECT_FALSE(listed.as_object().contains("title"));
  EXPECT_EQ(listed.at("displayTitle"), "Hello <b>");
  EXPECT_THAT(to.run({"conversation", "export", id}).output, StartsWith("# Hello \\<b\\>\n"));
  EXPECT_EQ(to.run({"conversation", "export", id, "--format", "json"}).output, changed.replace(title - 9, 16, ""))
      << "it is without a title";
}

TEST_F(ConversationTransfer, goesToTheAgentThatIsThere) {
  ASSERT_EQ(from.run({"conversation", "delete", id, "--yes"}).status, 0);
  ASSERT_EQ(from.run({"conversation", "import", "-"}, exported).status, 0);
  EXPECT_TRUE(from.json({"conversation", "list"}).at(0).as_object().contains("agent"));
  EXPECT_EQ(from.run({"run", "--conversation", id, "Go on"}).status, 0);
  EXPECT_THAT(from.agentArguments(), HasSubstr("session-1"));
}

TEST_F(ConversationTransfer, leavesNothingOfAFileThatIsNotWhole) {
  const ProgramResult cut = to.run({"conversation", "import", "-"}, exported.substr(0, exported.size() - 4));
  EXPECT_EQ(cut.status, 1);
  EXPECT_THAT(cut.output, IsEmpty());
  EXPECT_THAT(cut.errors, StartsWith("ravant: standard input: line "));
  EXPECT_EQ(to.json({"conversation", "list"}), json::value(json::array()));
  EXPECT_EQ(to.json({"project", "list"}), json::value(json::array()));
  EXPECT_EQ(to.run({"conversation", "import", to.home()}).status, 1);

  std::ofstream(file()) << exported;
  const ProgramResult both = to.run({"conversation", "import", to.home() / "none", file(), "--json"});
  EXPECT_EQ(both.status, 1);
  EXPECT_THAT(both.errors, HasSubstr("none: No such file"));
  const json::value done = parseJson(both.output).value();
  EXPECT_EQ(done.at("conversations"), json::value(1)) << "one that cannot be read keeps no other out";
  EXPECT_THAT(std::string(done.at("skipped").at(0).at("file").as_string()), HasSubstr("none"));
}

TEST_F(ConversationTransfer, isUnreadUntilAllOfItWasShown) {
  const auto unread = [&] { return from.json({"conversation", "list"}).at(0).at("unread").as_int64(); };
  EXPECT_EQ(unread(), 2);
  from.run({"conversation", "show", id, "--last", "1"});
  EXPECT_EQ(unread(), 2) << "the first of them was not shown";
  from.run({"conversation", "show", id, "--last", "2"});
  EXPECT_EQ(unread(), 0);
}

TEST_F(ConversationTransfer, writesAsItReads) {
  ASSERT_EQ(to.run({"conversation", "import", "-"}, largeExport(exported, 5'000)).status, 0);
  const std::vector<std::vector<std::string>> commands = {{"conversation", "export", id, "--format", "html"},
                                                          {"conversation", "show", id}};
  for (const auto& command : commands) {
    Program program = to.start(command);
    ASSERT_TRUE(program.readUntil("Hello"));
    program.closeOutput();
    const ProgramResult result = program.wait();
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.errors, IsEmpty());
  }
  const json::value shown = to.json({"conversation", "show", id});
  EXPECT_EQ(shown.at("items").as_array().size(), 5'000u);
  EXPECT_EQ(to.json({"conversation", "show", id, "--last", "4000"}).at("items").at(0), shown.at("items").at(1'000));
  EXPECT_EQ(to.json({"conversation", "show", id, "--last", "9000000000"}), shown);
}

TEST_F(ConversationTransfer, leavesTheFileAloneUnlessAllIsWritten) {
  std::ofstream(file()) << "old";
  EXPECT_EQ(from.run({"conversation", "export", "00000000", "--output", file()}).status, 1);
  EXPECT_EQ(readFile(file()), "old");
  const ProgramResult folder = from.run({"conversation", "export", id, "--output", from.home()});
  EXPECT_EQ(folder.status, 1);
  EXPECT_THAT(folder.errors, HasSubstr(from.home().string()));
  EXPECT_EQ(from.run({"conversation", "export", id, "--output", "/dev/null"}).status, 0);
  EXPECT_EQ(from.run({"conversation", "export", id, "--format", "json", "--output", "-"}).output, exported);
  EXPECT_EQ(from.run({"conversation", "export", id, "--output", ""}).status, 2);
  const ProgramResult nameless = to.run({"conversation", "import", file(), ""});
  EXPECT_EQ(nameless.status, 2);
  EXPECT_THAT(nameless.errors, HasSubstr("the file's name is empty"));
  EXPECT_EQ(to.json({"conversation", "list"}), json::value(json::array()));
  EXPECT_EQ(from.run({"conversation", "export", id, "--json", "--format", "html"}).status, 2);
  EXPECT_TRUE(std::filesystem::is_character_file("/dev/null"));
}

}  // namespace
}  // namespace ravant::test
