#include "core/window/keybindings.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace ravant::test {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

struct KeysRow {
  std::string_view name;
  std::string_view written;
  std::string_view text;  ///< the form that it has, or words of why there is none
};

class Keys : public testing::TestWithParam<KeysRow> {};

TEST_P(Keys, haveOneForm) {
  const std::string text = KeySequence::parse(GetParam().written).text();
  EXPECT_EQ(text, GetParam().text);
  EXPECT_EQ(KeySequence::parse(text), KeySequence::parse(GetParam().written));
}

INSTANTIATE_TEST_SUITE_P(
    Table, Keys,
    testing::Values(
        KeysRow{"asIs", "Ctrl+Shift+A", "Ctrl+Shift+A"}, KeysRow{"anyCase", "ctrl+alt+LEFT", "Ctrl+Alt+Left"},
        KeysRow{"oneOrder", "Meta+Shift+Alt+Ctrl+x", "Ctrl+Alt+Shift+Meta+X"}, KeysRow{"plus", "Ctrl++", "Ctrl++"},
        KeysRow{"plusByName", "Ctrl+Plus", "Ctrl++"}, KeysRow{"shiftPlus", "shift+ctrl++", "Ctrl+Shift++"},
        KeysRow{"comma", "Ctrl+,", "Ctrl+,"}, KeysRow{"function", "shift+f35", "Shift+F35"},
        KeysRow{"otherNames", "Ctrl+PgUp", "Ctrl+PageUp"}, KeysRow{"enter", "ctrl+return", "Ctrl+Enter"},
        KeysRow{"sequence", "  Ctrl+K \t ctrl+s ", "Ctrl+K Ctrl+S"}, KeysRow{"characterBehind", "Ctrl+K s", "Ctrl+K S"},
        KeysRow{"editingKeysBehind", "Ctrl+K Enter Ctrl+c", "Ctrl+K Enter Ctrl+C"},
        KeysRow{"withMore", "Ctrl+Shift+Z", "Ctrl+Shift+Z"}, KeysRow{"letter", "Ctrl+É", "Ctrl+é"}),
    [](const auto& row) { return std::string(row.param.name); });

class NoKeys : public testing::TestWithParam<KeysRow> {};

TEST_P(NoKeys, areRefusedWithTheReason) {
  try {
    KeySequence::parse(GetParam().written);
    ADD_FAILURE() << "it was taken";
  } catch (const KeySequenceError& error) {
    EXPECT_THAT(error.what(), HasSubstr(GetParam().text));
  }
}

INSTANTIATE_TEST_SUITE_P(
    Table, NoKeys,
    testing::Values(KeysRow{"nothing", " ", "there is no key"}, KeysRow{"unknownKey", "Ctrl+Foo", "no key \"Foo\""},
                    KeysRow{"unknownModifier", "Strg+A", "no modifier \"Strg\""},
                    KeysRow{"modifierAlone", "Ctrl", "\"Ctrl\" is a modifier"},
                    KeysRow{"modifiersAlone", "Ctrl+Shift", "\"Shift\" is a modifier"},
                    KeysRow{"keyAsModifier", "Left+A", "\"Left\" is a key"},
                    KeysRow{"characterAsModifier", "A+Ctrl+B", "\"A\" is a key"},
                    KeysRow{"twice", "Ctrl+Ctrl+A", "\"Ctrl+Ctrl+A\" names a modifier twice"},
                    KeysRow{"twiceByOtherName", "F5 Ctrl+Shift+Control+b", "a modifier twice"},
                    KeysRow{"noKey", "Ctrl+", "lacks a key"}, KeysRow{"gap", "Ctrl++A", "no modifier \"\""},
                    KeysRow{"function36", "F36", "no key \"F36\""}, KeysRow{"function0", "F0", "no key"},
                    KeysRow{"typed", "Shift+a", "types a character"}, KeysRow{"space", "Space", "types a character"},
                    KeysRow{"moves", "Up", "moving about"}, KeysRow{"writes", "Shift+Enter", "moving about"},
                    KeysRow{"leaves", "Tab Ctrl+K", "moving about"},
                    KeysRow{"copies", "ctrl+c", "copies in every text"},
                    KeysRow{"five", "F1 F2 F3 F4 F5", "more than 4"}, KeysRow{"control", "Ctrl+\x01", "no key"},
                    KeysRow{"notUtf8", "Ctrl+\xFF", "UTF-8"}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(KeyChords, haveTheirModifiersAndKey) {
  EXPECT_THAT(KeySequence::parse("shift+ctrl++ Super+alt+pgup").chords(),
              ElementsAre(KeyChord{.ctrl = true, .shift = true, .key = "+"},
                          KeyChord{.alt = true, .meta = true, .key = "PageUp"}));
}

std::string keysOf(const Keybindings& keybindings, WindowCommand command) {
  const auto keys = keybindings.keys(command);
  return keys ? keys->text() : "";
}

TEST(Keybindings, ofTheProgramItselfDoNotConflict) {
  const Keybindings keybindings;
  EXPECT_THAT(keybindings.faults(), IsEmpty());
  for (const CommandDescription& command : commandDescriptions()) {
    EXPECT_EQ(keysOf(keybindings, command.command), command.defaultKeys) << command.name;
  }
}

TEST(Keybindings, areChangedAndTakenAway) {
  // Two commands exchange their keys; a third one has none.
  const Keybindings keybindings(
      {{"goBack", "alt+right", 2}, {"goForward", "Alt+Left", 3}, {"settings", "", 4}, {"allConversations", "F4", 5}});
  EXPECT_THAT(keybindings.faults(), IsEmpty());
  EXPECT_EQ(keysOf(keybindings, WindowCommand::goBack), "Alt+Right");
  EXPECT_EQ(keysOf(keybindings, WindowCommand::goForward), "Alt+Left");
  EXPECT_EQ(keysOf(keybindings, WindowCommand::settings), "");
  EXPECT_EQ(keysOf(keybindings, WindowCommand::allConversations), "F4");
  EXPECT_EQ(keysOf(keybindings, WindowCommand::focusInput), "Ctrl+L");
}

TEST(Keybindings, thatAreWrongAreToldAndTheRestCounts) {
  const Keybindings keybindings({{"goSideways", "Ctrl+1", 3},
                                 {"goBack", "Ctrl+Foo", 4},
                                 {"goForward", std::nullopt, 5},
                                 {"focusInput", "Ctrl+2", 6},
                                 {"settings", "Ctrl+2", 7},
                                 {"rename", "ctrl+g", 8}});
  EXPECT_THAT(
      keybindings.faults(),
      ElementsAre(
          KeybindingFault{3, "goSideways", "there is no command \"goSideways\""},
          KeybindingFault{4, "goBack", "there is no key \"Foo\""},
          KeybindingFault{5, "goForward", "keys are a text, such as \"Ctrl+K\"; null or an empty one is for none"},
          KeybindingFault{7, "settings", "\"focusInput\" has \"Ctrl+2\", so \"settings\" (\"Ctrl+2\") has no keys"},
          KeybindingFault{8, "rename", "\"rename\" has \"Ctrl+G\", so \"toggleGitChanges\" (\"Ctrl+G\") has no keys"}));
  EXPECT_EQ(keysOf(keybindings, WindowCommand::goBack), "Alt+Left");
  EXPECT_EQ(keysOf(keybindings, WindowCommand::goForward), "Alt+Right");
  EXPECT_EQ(keysOf(keybindings, WindowCommand::focusInput), "Ctrl+2");
  EXPECT_EQ(keysOf(keybindings, WindowCommand::settings), "");
  EXPECT_EQ(keysOf(keybindings, WindowCommand::rename), "Ctrl+G");
  EXPECT_EQ(keysOf(keybindings, WindowCommand::toggleGitChanges), "");
}

TEST(Keybindings, conflictWhereOneBeginsAsAnother) {
  const Keybindings keybindings(
      {{"showPalette", "Ctrl+K Ctrl+P", 2}, {"settings", "Ctrl+K Ctrl+S", 3}, {"rename", "Ctrl+K", 4}});
  ASSERT_EQ(keybindings.faults().size(), 1u);
  EXPECT_EQ(keybindings.faults().front().line, 4u);
  EXPECT_EQ(keysOf(keybindings, WindowCommand::settings), "Ctrl+K Ctrl+S");
  EXPECT_EQ(keysOf(keybindings, WindowCommand::showPalette), "Ctrl+K Ctrl+P");
  EXPECT_EQ(keysOf(keybindings, WindowCommand::rename), "");
}

}  // namespace
}  // namespace ravant::test
