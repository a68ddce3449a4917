#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>

#include "tests/journeys/sandbox.hpp"

namespace ravant::test {
namespace {

using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;

std::vector<std::string> sectionTitles(const json::value& palette) {
  std::vector<std::string> found;
  for (const json::value& section : palette.at("sections").as_array()) {
    found.emplace_back(section.at("title").as_string());
  }
  return found;
}

TEST(PaletteCommand, showsTheSectionsOfAWindow) {
  const Sandbox sandbox;
  sandbox.run({"project", "add", ".", "--name", "Straßen"});
  const json::value found = sandbox.json({"palette", "NEW conv"});
  EXPECT_THAT(sectionTitles(found), ElementsAre("Commands", "Projects"));
  const json::object command{
      {"id", "command.newConversation"}, {"title", "New Conversation"}, {"shortcutHint", "Ctrl+N"}};
  EXPECT_EQ(found.at("sections").at(0).at("title"), "Commands");
  EXPECT_EQ(found.at("sections").at(0).at("items").at(0), json::value(command));
  EXPECT_EQ(found.at("sections").at(0).at("items").as_array().size(), 2u) << "and the one in another project";
  EXPECT_THAT(sectionTitles(sandbox.json({"palette", ""})), ElementsAre("Commands", "Projects"));
  EXPECT_EQ(compactJson(sandbox.json({"palette", "no such thing"})), R"({"sections":[]})");
  sandbox.run({"settings", "set", "palette.sectionItems", "2"});
  EXPECT_THAT(sandbox.run({"palette", ""}).output,
              AllOf(HasSubstr("Commands\n  New Conversation  Ctrl+N\n  All conversations  Ctrl+Shift+L\nProjects\n"),
                    HasSubstr("  New Conversation · Straßen  ")));
  EXPECT_EQ(sandbox.run({"palette"}).status, 2);
}

TEST(KeybindingSettings, areSetCheckedAndTold) {
  const Sandbox sandbox;
  EXPECT_EQ(sandbox.json({"settings", "get", "keybindings.goBack"}), "Alt+Left");
  EXPECT_EQ(sandbox.run({"settings", "set", "keybindings.goBack", "ctrl+alt+b  ctrl+LEFT"}).errors, "");
  EXPECT_EQ(sandbox.json({"settings", "get"}).at("keybindings.goBack"), "Ctrl+Alt+B Ctrl+Left");
  EXPECT_THAT(sandbox.run({"palette", "go back"}).output, HasSubstr("Ctrl+Alt+B Ctrl+Left\n"));

  EXPECT_THAT(sandbox.run({"settings", "set", "keybindings.goBack", "Strg+B"}).errors,
              HasSubstr("there is no modifier \"Strg\""));
  EXPECT_THAT(sandbox.run({"settings", "set", "keybindings.goSideways", "Ctrl+B"}).errors,
              HasSubstr("there is no setting \"keybindings.goSideways\""));
  const ProgramResult taken = sandbox.run({"settings", "set", "keybindings.goBack", "Ctrl+G"});
  EXPECT_EQ(taken.status, 0);
  EXPECT_THAT(taken.errors, HasSubstr("\"goBack\" has \"Ctrl+G\", so \"toggleGitChanges\" (\"Ctrl+G\") has no keys"));
  // What was set later in the file has no keys for what was set before it.
  sandbox.run({"settings", "set", "keybindings.rename", "F5"});
  EXPECT_EQ(sandbox.run({"settings", "set", "keybindings.focusInput", "F7"}).errors, "");
  EXPECT_THAT(sandbox.run({"settings", "set", "keybindings.rename", "F7"}).errors,
              HasSubstr("so \"focusInput\" (\"F7\") has no keys"));
  EXPECT_EQ(sandbox.run({"settings", "set", "keybindings.rename", "Alt+Left"}).errors, "");
  EXPECT_THAT(sandbox.run({"settings", "reset", "keybindings.goBack"}).errors,
              HasSubstr("so \"goBack\" (\"Alt+Left\") has no keys"));
  sandbox.run({"settings", "reset", "keybindings.rename"});
  EXPECT_EQ(sandbox.json({"settings", "get", "keybindings.goBack"}), "Alt+Left");
  sandbox.run({"settings", "set", "keybindings.settings", ""});
  EXPECT_THAT(sandbox.run({"palette", "settings"}).output, Not(HasSubstr("Ctrl+,")));

  std::ofstream(sandbox.settings()) << "{\n  \"keybindings\": {\n    \"goBack\": 5,\n    \"goThere\": \"F4\",\n"
                                    << "    \"settings\": null,\n    \"goForward\": \"F5\"\n  }\n}\n";
  std::vector<std::string> problems;
  const json::value doctor = parseJson(sandbox.run({"doctor", "--json"}).output).value();
  for (const json::value& problem : doctor.at("problems").as_array())
    problems.emplace_back(problem.at("what").as_string());
  EXPECT_THAT(problems,
              testing::IsSupersetOf({sandbox.settings().string() +
                                         ", line 3: keys are a text, such as \"Ctrl+K\"; null or an empty "
                                         "one is for none",
                                     sandbox.settings().string() + ", line 4: there is no command \"goThere\""}));
  EXPECT_THAT(sandbox.run({"palette", "go "}).output, AllOf(HasSubstr("Alt+Left"), HasSubstr("F5")));

  std::ofstream(sandbox.settings()) << "{\n  \"keybindings\": []\n}\n";
  EXPECT_THAT(sandbox.run({"palette", "go "}).output, HasSubstr("Alt+Left"));
  EXPECT_THAT(sandbox.run({"doctor"}).output, HasSubstr("line 2: keys are an object"));
}

}  // namespace
}  // namespace ravant::test
