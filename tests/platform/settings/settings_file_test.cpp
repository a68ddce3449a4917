#include "platform/settings/settings_file.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "platform/files/private_file.hpp"
#include "platform/json/json_lines.hpp"
#include "platform/settings/setting_names.hpp"
#include "tests/support/forked.hpp"
#include "tests/support/temporary_folder.hpp"

namespace ravant::test {
namespace {

using testing::HasSubstr;
using Case = SettingsError::Case;

std::vector<SettingDescription> settings() {
  return {{"theme", SettingType::choice, "dark", "Colours", {"dark", "light"}},
          {"limit", SettingType::integer, std::int64_t{10}, "Items shown"},
          {"sound", SettingType::boolean, true, "Play a sound"},
          {"endpoints.github", SettingType::text, "https://api.example", "Where it is asked"},
          {"endpoints.linear", SettingType::text, "", "Where it is asked"}};
}

mode_t modeOf(const std::filesystem::path& path) {
  struct stat status;
  return ::stat(path.c_str(), &status) == 0 ? status.st_mode & 0777 : 0;
}

class SettingsFileTest : public testing::Test {
 protected:
  SettingsError errorOf(const std::function<void()>& action) {
    try {
      action();
    } catch (const SettingsError& error) {
      return error;
    }
    throw std::logic_error("no error");
  }

  TemporaryFolder folder_;
};

TEST_F(SettingsFileTest, startsWithDefaultsAndMakesAPrivateFile) {
  const auto path = folder_ / "config/ravant/settings.json";
  SettingsFile file(path, settings());
  file.load();
  EXPECT_EQ(file.text("endpoints.github"), "https://api.example");
  EXPECT_EQ(file.integer("limit"), 10);

  file.set("limit", std::int64_t{25});
  EXPECT_EQ(file.integer("limit"), 25);
  EXPECT_EQ(readFile(path), "{\n  \"limit\": 25\n}\n");
  EXPECT_EQ(modeOf(path), 0600u);
  EXPECT_EQ(modeOf(path.parent_path()), 0700u);
}

TEST_F(SettingsFileTest, keepsWhatAPersonWrote) {
  const auto path = folder_.write("settings.json", R"({"zebra": [1, {"x": null}], "limit": 7.0,
    "endpoints": {"own": 0.7, "github": "a"}, "theme": "light"})");
  ::chmod(path.c_str(), 0640);
  SettingsFile file(path, settings());
  file.load();
  EXPECT_EQ(file.integer("limit"), 7);
  EXPECT_EQ(file.text("theme"), "light");

  file.set("endpoints.github", "b");
  file.set("sound", false);
  file.reset("theme");
  const auto expected = parseJson(
      R"({"zebra": [1, {"x": null}], "limit": 7.0, "endpoints": {"own": 0.7, "github": "b"}, "sound": false})");
  EXPECT_EQ(readFile(path), prettyJson(*expected));
  EXPECT_EQ(modeOf(path), 0640u);
  EXPECT_EQ(file.text("theme"), "dark");
}

TEST_F(SettingsFileTest, keepsNumbersAsTheyStand) {
  const std::string others = R"([
    1e400,
    -0,
    12345678901234567890123,
    0.10,
    -1.25e-7
  ])";
  const auto path = folder_.write("settings.json", "{\"others\": " + others + "}");
  SettingsFile file(path, settings());
  file.set("limit", std::int64_t{5});
  EXPECT_EQ(readFile(path), "{\n  \"others\": " + others + ",\n  \"limit\": 5\n}\n");
  file.load();
  EXPECT_EQ(file.integer("limit"), 5);
}

TEST_F(SettingsFileTest, aPipeIsRefused) {
  const auto path = folder_ / "settings.json";
  ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0);
  SettingsFile file(path, settings());
  const SettingsError error = errorOf([&] { file.load(); });
  EXPECT_EQ(error.reason(), Case::unreadable);
  EXPECT_EQ(error.what(), path.string() + ": it is a pipe or a device, no file");
  EXPECT_EQ(errorOf([&] { file.set("limit", std::int64_t{1}); }).reason(), Case::unreadable);
  EXPECT_TRUE(std::filesystem::is_fifo(path));
}

TEST_F(SettingsFileTest, resetRemovesObjectsItEmptied) {
  const auto path = folder_.write("settings.json", R"({"endpoints": {"github": "a"}, "other": {}})");
  SettingsFile file(path, settings());
  file.reset("endpoints.github");
  EXPECT_EQ(readFile(path), "{\n  \"other\": {}\n}\n");
  EXPECT_EQ(file.text("endpoints.github"), "https://api.example");
}

struct FaultCase {
  std::string name;
  std::string contents;
  Case reason;
  std::string words;
};

class FaultySettingsFileTest : public SettingsFileTest, public testing::WithParamInterface<FaultCase> {};

TEST_P(FaultySettingsFileTest, isNamedAndLeftAlone) {
  const auto& [name, contents, reason, words] = GetParam();
  const auto path = folder_.write("settings.json", contents);
  SettingsFile file(path, settings());
  const SettingsError error = errorOf([&] { file.load(); });
  EXPECT_EQ(error.reason(), reason);
  EXPECT_EQ(error.what(), path.string() + words);
  if (reason == Case::notJson) {
    EXPECT_EQ(errorOf([&] { file.set("limit", std::int64_t{1}); }).what(), path.string() + words);
  }
  if (words.ends_with("an object")) {
    EXPECT_EQ(errorOf([&] { file.set("endpoints.github", "a"); }).what(), path.string() + words);
  }
  EXPECT_EQ(readFile(path), contents);
}

INSTANTIATE_TEST_SUITE_P(
    , FaultySettingsFileTest,
    testing::ValuesIn(std::vector<FaultCase>{
        {"comma", "{\n  \"limit\": 5,\n}", Case::notJson, ", line 3, column 1: syntax error"},
        {"cutShort", "{\"limit\": 5", Case::notJson, ", line 1, column 12: incomplete JSON"},
        {"secondValue", "{}\n {}", Case::notJson, ", line 2, column 2: something follows the end"},
        {"array", "[]", Case::notJson, ": not an object"},
        {"textForNumber", R"({"limit": "5"})", Case::wrongValue, R"(: "limit" takes a whole number, not "5")"},
        {"unknownChoice", R"({"theme": "red"})", Case::wrongValue,
         R"(: "theme" takes one of "dark", "light", not "red")"},
        {"notNested", R"({"endpoints": "x"})", Case::wrongValue, R"(: "endpoints" takes an object)"},
        {"notNestedNumber", R"({"endpoints": 1.0})", Case::wrongValue, R"(: "endpoints" takes an object)"},
        {"numberOutOfRange", R"({"limit": 1e400})", Case::wrongValue, R"(: "limit" takes a whole number, not 1e400)"},
        {"null", R"({"sound": null})", Case::wrongValue, R"(: "sound" takes true or false, not null)"},
    }),
    [](const auto& info) { return info.param.name; });

TEST_F(SettingsFileTest, mendsOneWrongValueOfSeveral) {
  folder_.write("settings.json", R"({"limit": "5", "sound": null})");
  SettingsFile file(folder_ / "settings.json", settings());
  file.set("limit", std::int64_t{5});
  EXPECT_EQ(file.integer("limit"), 5);
  EXPECT_EQ(errorOf([&] { file.load(); }).reason(), Case::wrongValue);
  file.reset("sound");
  file.load();
  EXPECT_EQ(file.integer("limit"), 5);
}

TEST_F(SettingsFileTest, refusesWhatASettingDoesNotTake) {
  SettingsFile file(folder_ / "settings.json", settings());
  EXPECT_EQ(errorOf([&] { file.set("limit", "5"); }).reason(), Case::wrongValue);
  EXPECT_EQ(errorOf([&] { file.set("theme", "red"); }).reason(), Case::wrongValue);
  EXPECT_EQ(errorOf([&] { file.set("endpoints.github", "\xFF"); }).reason(), Case::wrongValue);
  EXPECT_EQ(errorOf([&] { file.set("endpoints", "x"); }).reason(), Case::unknownKey);
  EXPECT_FALSE(std::filesystem::exists(file.path()));
}

TEST(SettingNames, areFoundByWhatComesNear) {
  const std::vector<std::string_view> known = {"shell.startSeconds", "keyStore",      "keys.goBack",
                                               "keys.goForward",     "keys.goToLine", "keys.rename"};
  const auto words = [&](std::string_view name) { return wordsForUnknownSetting(name, known); };
  EXPECT_EQ(words("keystor"), "there is no setting \"keystor\"; there is \"keyStore\"");
  EXPECT_EQ(words("STARTSECONDS"), "there is no setting \"STARTSECONDS\"; there is \"shell.startSeconds\"");
  EXPECT_EQ(words("keys.goBakc"), "there is no setting \"keys.goBakc\"; there is \"keys.goBack\"");
  EXPECT_EQ(words("keys"), "there is no setting \"keys\"; 4 begin with \"keys.\", such as \"keys.goBack\"");
  EXPECT_EQ(words("shell"), "there is no setting \"shell\"; there is \"shell.startSeconds\"");
  EXPECT_EQ(words("keys.quitAtOnce"),
            "there is no setting \"keys.quitAtOnce\"; 4 begin with \"keys.\", such as \"keys.goBack\"");
  EXPECT_EQ(words("colour"), "there is no setting \"colour\"; their names begin with shell, keyStore, keys");
}

TEST_F(SettingsFileTest, readsWhatAPersonTypes) {
  const SettingsFile file(folder_ / "settings.json", settings());
  EXPECT_EQ(settingFromText(file.description("limit"), "-3"), SettingValue(std::int64_t{-3}));
  EXPECT_EQ(settingFromText(file.description("sound"), "false"), SettingValue(false));
  EXPECT_EQ(settingFromText(file.description("theme"), "light"), SettingValue("light"));
  for (const auto& [key, text] : std::map<std::string, std::string>{{"limit", "3x"}, {"sound", "no"}, {"theme", "x"}}) {
    EXPECT_THAT(errorOf([&] { settingFromText(file.description(key), text); }).what(), HasSubstr(key));
  }
}

TEST_F(SettingsFileTest, aSymbolicLinkStaysOne) {
  std::filesystem::create_directory(folder_ / "dotfiles");
  const auto link = folder_ / "settings.json";
  std::filesystem::create_symlink("dotfiles/real.json", link);
  SettingsFile file(link, settings());
  file.set("theme", "light");
  EXPECT_TRUE(std::filesystem::is_symlink(link));
  EXPECT_EQ(readFile(folder_ / "dotfiles/real.json"), "{\n  \"theme\": \"light\"\n}\n");
}

TEST_F(SettingsFileTest, anUnwritablePlaceIsNamed) {
  const auto blocked = folder_.write("file", "");
  SettingsFile file(blocked / "settings.json", settings());
  const auto error = errorOf([&] { file.set("theme", "light"); });
  EXPECT_EQ(error.reason(), Case::unwritable);
  EXPECT_THAT(error.what(), HasSubstr(blocked.string()));
}

TEST_F(SettingsFileTest, processesDoNotUndoEachOther) {
  const auto path = folder_ / "settings.json";
  const auto count = [&](std::string_view key) {
    return [&path, key] {
      SettingsFile file(path, settings());
      for (int i = 1; i <= 100; ++i) {
        file.set(key, std::to_string(i));
        file.load();
        if (file.text(key) != std::to_string(i)) throw std::logic_error("lost");
      }
    };
  };
  const Forked first(count("endpoints.github"));
  const Forked second(count("endpoints.linear"));
  EXPECT_TRUE(first.succeeds());
  EXPECT_TRUE(second.succeeds());
  EXPECT_EQ(std::ranges::distance(std::filesystem::directory_iterator(folder_.path())), 2) << "only file and lock";
}

TEST_F(SettingsFileTest, doesNotInsistOnWhatOthersCheck) {
  std::vector<SettingDescription> known = settings();
  for (const char* key : {"keys.open", "keys.close", "keys.quit"}) {
    known.push_back({.key = key, .defaultValue = "F1", .whenWrong = WrongValue::countsAsDefault});
  }
  const auto path = folder_.write("settings.json", R"({
  "keys": {"open": 5,
    "close": null, "own": "x",
    "quit": "F9"}, "other": {"quit": "no"},
  "limit": 7
})");
  SettingsFile file(path, known);
  file.load();
  EXPECT_EQ(file.text("keys.open"), "F1");
  EXPECT_EQ(file.text("keys.close"), "");
  EXPECT_EQ(file.text("keys.quit"), "F9");
  std::string told;
  for (const auto& [name, text, line] : file.members("keys")) {
    told += fmt::format("{} {} {}\n", line, name, text.value_or("(no text)"));
  }
  EXPECT_EQ(told, "2 open (no text)\n3 close \n3 own x\n4 quit F9\n");

  file.reset("keys.open");
  EXPECT_EQ(file.members("keys").front().name, "close");
  EXPECT_EQ(file.members("keys").front().line, 3u);
  EXPECT_TRUE(file.members("none").empty());
  for (const char* keys : {"null", "[]", "\"Ctrl+K\""}) {
    folder_.write("settings.json", fmt::format("{{\"other\": {{\"keys\": 1}},\n\"keys\": {}}}", keys));
    file.load();
    EXPECT_EQ(file.text("keys.open"), "F1");
    ASSERT_EQ(file.members("keys").size(), 1u);
    EXPECT_EQ(file.members("keys").front().name, "");
    EXPECT_EQ(file.members("keys").front().line, 2u);
    EXPECT_EQ(errorOf([&] { file.set("keys.open", "F2"); }).reason(), Case::wrongValue);
  }
}

TEST(JsonMemberLines, areThoseOfTheLastMemberOfTheName) {
  const std::string text = R"({
  "a": {"z": 1},
  "x": ["a", {"a": {"c": 1}}], "y": "\"a\": {",
  "a": {
    "b": {"d": 1}, "e\u0061":
      2,
    "f": [{"g": 1}],
    "b": "}"
  }
})";
  EXPECT_THAT(memberLines(text, "a"),
              testing::ElementsAre(JsonMemberLine{"ea", 5}, JsonMemberLine{"f", 7}, JsonMemberLine{"b", 8}));
  EXPECT_THAT(memberLines("[\"a\"]", "a"), testing::IsEmpty());
}

}  // namespace
}  // namespace ravant::test
