#include "app/agent_trouble.hpp"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include "tests/support/run.hpp"
#include "tests/support/temporary_folder.hpp"

namespace ravant::test {
namespace {

TEST(ProgramTrouble, saysWhatStandsWhereTheProgramShould) {
  const TemporaryFolder folder;
  std::filesystem::permissions(folder.write("claude", "#!/bin/sh\n"), std::filesystem::perms::owner_all);
  std::filesystem::permissions(folder.write("codex", ""), std::filesystem::perms::owner_read);
  std::filesystem::create_directory(folder / "pi");
  std::filesystem::create_symlink("gone", folder / "link");
  ASSERT_EQ(::mkfifo((folder / "pipe").c_str(), 0700), 0);
  const std::string at = folder.path().string();
  const auto trouble = [&](const std::string& path, AgentType type = AgentType::claude) {
    return programTrouble({.path = path, .type = type}, "relative:" + at + ":/nowhere").value_or("");
  };
  EXPECT_EQ(trouble(at + "/claude"), "");
  EXPECT_EQ(trouble(" " + at + "/claude "), "");
  EXPECT_EQ(trouble(at + "/none"), "Claude Code was not found at " + at + "/none.");
  EXPECT_EQ(trouble(at + "/link"), "Claude Code was not found at " + at + "/link.");
  EXPECT_EQ(trouble(at + "/claude/below"), "Claude Code was not found at " + at + "/claude/below.");
  EXPECT_EQ(trouble(at + "/codex"), "Claude Code cannot be started: " + at + "/codex is not executable.");
  EXPECT_EQ(trouble(at + "/pi"), "Claude Code cannot be started: " + at + "/pi is a folder.");
  EXPECT_EQ(trouble(at + "/pipe"), "Claude Code cannot be started: " + at + "/pipe is no file.");

  EXPECT_EQ(trouble(""), "");
  EXPECT_EQ(trouble("claude"), "");
  EXPECT_EQ(trouble("./claude"), "") << "which depends on the project's folder";
  EXPECT_EQ(trouble("", AgentType::codex),
            "Codex was not found. \"codex\" is in no folder of the search path: relative:" + at + ":/nowhere");
  EXPECT_EQ(programTrouble({.type = AgentType::pi}, ""),
            "Pi was not found. \"pi\" is in no folder of the search path: it is empty");
}

class OtherKeyStore : public KeyStore {
 public:
  std::optional<KeyStoreError> fault;
  std::optional<std::string> key;

  std::optional<std::string> read(const KeyName& name, std::stop_token) override {
    if (fault) throw *fault;
    return name.account == "mistral" ? key : std::nullopt;
  }
  void store(const KeyName&, const std::string&, const std::string&) override {}
  bool remove(const KeyName&) override { return false; }
};

TEST(KeyTrouble, namesTheProvidersAndWhyTheKeyStoreGivesNone) {
  Executors executors;
  const auto keyStore = std::make_shared<OtherKeyStore>();
  std::optional<std::string> variable;
  const auto keys =
      std::make_shared<RavantProviderKey>(executors.work(), keyStore, [&](const char*) { return variable; });
  std::optional<KeyStoreError::Case> ofKeyStore;
  const auto trouble = [&] {
    const auto found = run(keyTrouble(*keys)).value_or(AgentTrouble());
    ofKeyStore = found.keyStoreFault;
    return found.words;
  };
  EXPECT_EQ(trouble(), "Ravant has no key for OpenRouter or Mistral.");
  keyStore->key = "secret";
  EXPECT_EQ(trouble(), "") << "of the second provider";
  keyStore->fault = KeyStoreError(KeyStoreError::Case::locked, "the key store is locked");
  EXPECT_EQ(trouble(), "Ravant has no key that it could use: the key store is locked");
  EXPECT_EQ(ofKeyStore, KeyStoreError::Case::locked);
  variable = "secret";
  EXPECT_EQ(trouble(), "");
  variable.reset();
  keyStore->fault = KeyStoreError(KeyStoreError::Case::unavailable, "no session bus");
  EXPECT_EQ(trouble(), "Ravant has no key for OpenRouter or Mistral. The key store does not answer: no session bus");
  EXPECT_EQ(ofKeyStore, KeyStoreError::Case::unavailable);
}

}  // namespace
}  // namespace ravant::test
