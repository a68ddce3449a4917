#include "platform/process/login_shell.hpp"

#include <gtest/gtest.h>

#include "tests/support/temporary_folder.hpp"

namespace ravant::test {
namespace {

struct Choice {
  std::string name;
  std::optional<std::string> variable;  ///< "/..." stands for a file in the test's folder
  std::string passwordDatabase;
  std::string path;
  std::string reason;
};

class LoginShellTest : public testing::TestWithParam<Choice> {
 protected:
  LoginShellTest() {
    for (const char* name : {"zsh", "bash", "dash", "fish", "nologin", "tcsh"}) {
      std::filesystem::permissions(folder_.write(name, "#!/bin/sh\n"), std::filesystem::perms::owner_all);
    }
    folder_.write("ksh", "");
    std::filesystem::create_directory(folder_ / "sh");
  }

  std::string inFolder(const std::string& path) const {
    return path.starts_with('/') ? folder_.path().string() + path : path;
  }

  TemporaryFolder folder_;
};

TEST_P(LoginShellTest, isChosen) {
  const Choice& choice = GetParam();
  ShellSources sources;
  if (choice.variable) sources.variable = inFolder(*choice.variable);
  sources.passwordDatabase = inFolder(choice.passwordDatabase);
  sources.whenUnset = inFolder("/zsh");
  sources.fallbacks = {inFolder("/bash"), "/bin/sh"};

  const LoginShell shell = chooseLoginShell(sources);
  EXPECT_EQ(shell.path, inFolder(choice.path));
  std::string reason = shell.reason;
  if (const auto at = reason.find(folder_.path().string()); at != std::string::npos) {
    reason.erase(at, folder_.path().string().size());
  }
  EXPECT_EQ(reason, choice.reason);
}

INSTANTIATE_TEST_SUITE_P(
    Choices, LoginShellTest,
    testing::Values(Choice{"variable", "/dash", "/zsh", "/dash", ""},
                    Choice{"unset", std::nullopt, "/dash", "/zsh", "SHELL is not set"},
                    Choice{"noLogin", "/nologin", "/dash", "/dash",
                           "SHELL is \"/nologin\", which is not a shell in which agents can be started"},
                    Choice{"fish", "/fish", "/fish", "/bash",
                           "SHELL is \"/fish\", which is not a shell in which agents can be started"},
                    Choice{"otherFamily", "/tcsh", "/dash", "/dash",
                           "SHELL is \"/tcsh\", which is not a shell in which agents can be started"},
                    Choice{"missing", "/gone/zsh", "", "/bash", "SHELL is \"/gone/zsh\", which does not exist"},
                    Choice{"notExecutable", "/ksh", "/missing", "/bash", "SHELL is \"/ksh\", which is not a program"},
                    Choice{"folder", "/sh", "/dash", "/dash", "SHELL is \"/sh\", which is not a program"},
                    Choice{"relative", "zsh", "/dash", "/dash", "SHELL is \"zsh\", which is not an absolute path"},
                    Choice{"empty", "", "/dash", "/dash", "SHELL is \"\", which is not an absolute path"}),
    [](const auto& info) { return info.param.name; });

TEST(LoginShellFallbackTest, theLastIsTakenAsItIs) {
  const ShellSources nothing{
      .variable = std::nullopt, .passwordDatabase = "", .whenUnset = "/no/zsh", .fallbacks = {"/no/sh"}};
  EXPECT_EQ(chooseLoginShell(nothing).path, "/no/sh");
}

TEST(LoginShellForCommandsTest, mayBeFish) {
  const TemporaryFolder folder;
  const auto fish = folder.write("fish", "");
  std::filesystem::permissions(fish, std::filesystem::perms::owner_all);
  const ShellSources sources{.variable = fish.string()};
  EXPECT_EQ(chooseLoginShell(sources, ShellUse::command).path, fish.string());
  EXPECT_NE(chooseLoginShell(sources).path, fish.string());
}

}  // namespace
}  // namespace ravant::test
