#include "integrations/github/github_account_detection.hpp"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>

#include "platform/async/executors.hpp"
#include "platform/log/log.hpp"
#include "tests/support/run.hpp"
#include "tests/support/temporary_folder.hpp"

namespace ravant::test {
namespace {

using namespace std::chrono_literals;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;
using Case = GithubDetectionError::Case;

/// A home folder whose profile, as it is that of the shell, has `gh` on the search path and prints.
class GithubDetectionTest : public testing::TestWithParam<const char*> {
 protected:
  void SetUp() override {
    if (::access(GetParam(), X_OK) != 0) GTEST_SKIP() << "there is no " << GetParam();
  }

  GithubDetectionTest() {
    ::setenv("HOME", folder.path().c_str(), 1);
    ::unsetenv("ZDOTDIR");
    ::unsetenv("XDG_CONFIG_HOME");
    std::filesystem::create_directories(folder / "tools");
    std::filesystem::create_directories(folder / ".config/fish");
    const std::string profile =
        fmt::format("export PATH=\"{}\":/usr/bin:/bin\necho '{{\"hosts\": noise}}'; echo not logged in >&2\n",
                    (folder / "tools").string());
    writeProfiles(profile);
    for (const char* file : {".bash_logout", ".zlogout"}) folder.write(file, "echo bye; exit 3\n");
  }

  void writeProfiles(std::string_view text) {
    for (const char* file : {".bash_profile", ".zprofile", ".profile", ".config/fish/config.fish"}) {
      folder.write(file, text);
    }
  }

  void installGH(std::string_view script) {
    std::filesystem::permissions(folder.write("tools/gh", fmt::format("#!/bin/sh\n{}\n", script)),
                                 std::filesystem::perms::owner_all);
  }

  std::vector<GithubAccount> detect() {
    return run(detectAccounts(
        {.io = executors.io(), .shellPath = GetParam(), .withheldVariables = {"KEY_OF_THE_TEST"}, .limit = limit}));
  }
  /// Which failure it is, and its words.
  std::pair<Case, std::string> failure() {
    try {
      detect();
    } catch (const GithubDetectionError& error) {
      return {error.kind(), error.what()};
    }
    ADD_FAILURE() << "accounts were found";
    return {};
  }

  TemporaryFolder folder;
  Executors executors;
  std::chrono::milliseconds limit = 30s;
};

TEST_P(GithubDetectionTest, findsTheAccountsThatGHIsLoggedInTo) {
  installGH(R"sh([ "$*" = "auth status --json hosts -t" ] || exit 9
[ -z "$GH_DEBUG$KEY_OF_THE_TEST" ] || exit 8
echo 'a new release is there' >&2
cat <<'END'
{"hosts":{"github.com":[
 {"state":"success","error":"","active":true,"host":"github.com","login":"octo","tokenSource":"keyring","token":"gho_hush"},
 {"state":"timeout","active":false,"host":"github.com","login":"second"},
 {"state":"error","active":false,"host":"github.com","login":""}],
"git.example":[{"login":"ann","token":""}]}}
END
exit 1)sh");
  for (const char* name : {"GH_DEBUG", "KEY_OF_THE_TEST"}) ::setenv(name, "api", 1);
  const auto accounts = detect();
  for (const char* name : {"GH_DEBUG", "KEY_OF_THE_TEST"}) ::unsetenv(name);
  EXPECT_THAT(
      accounts,
      ElementsAre(
          GithubAccount{.host = "github.com", .username = "octo", .isActive = true, .inlineToken = "gho_hush"},
          GithubAccount{.host = "github.com", .username = "second", .isActive = false, .inlineToken = std::nullopt},
          GithubAccount{.host = "git.example", .username = "ann", .isActive = false, .inlineToken = std::nullopt}));
}

TEST_P(GithubDetectionTest, saysWhatIsWrongAndNothingOfWhatWasPrinted) {
  openLogFile(folder / "log");
  const auto otherWay = HasSubstr("`ravant github add HOST USERNAME --token-stdin`");
  std::filesystem::create_directories(folder / "elsewhere");
  EXPECT_THAT(failure(),
              testing::Pair(Case::notInstalled, AllOf(StartsWith("gh is not on the search path"), otherWay)));

  installGH(
      "echo gho_hush; printf '%0300d' 0 >&2; echo 'unknown flag: --json' >&2; echo 'Usage:  gh auth status [flags]' "
      ">&2; exit 1");
  EXPECT_THAT(failure(), testing::Pair(Case::tooOld, AllOf(HasSubstr("older than 2.81"), otherWay)));
  installGH("echo '{\"hosts\":{}}'; exit 1");
  EXPECT_THAT(failure(), testing::Pair(Case::notLoggedIn, AllOf(HasSubstr("`gh auth login`"), otherWay)));
  installGH("echo 'You are not logged in to any GitHub hosts.' >&2; exit 1");
  EXPECT_EQ(failure().first, Case::notLoggedIn);
  installGH("echo '{\"hosts\":{\"github.com\":[{\"login\":\"octo\",\"token\":\"gho_hush\"'");
  EXPECT_THAT(failure(), testing::Pair(Case::unreadable, Not(HasSubstr("gho_hush"))));
  installGH("echo gho_hush; printf 'fatal\\033[2J:\\nconfig' >&2; exit 4");
  EXPECT_THAT(failure(),
              testing::Pair(Case::failed, StartsWith("gh failed with exit 4. Run `gh auth status` to see why. Or ")));
  installGH("while :; do echo gho_hush; done");
  EXPECT_EQ(failure().first, Case::unreadable);
  for (const char* file : {".bash_profile", ".zprofile", ".profile"}) {
    folder.write(file, "echo broken profile >&2; exit 5\n");
  }
  // fish goes on behind an exit.
  if (!std::string_view(GetParam()).ends_with("fish")) {
    EXPECT_THAT(failure(), testing::Pair(Case::failed, HasSubstr("ended before it ran gh (")));
  }

  std::ifstream log(folder / "log" / "ravant.log");
  const std::string logged{std::istreambuf_iterator<char>(log), {}};
  openLogFile(folder / "elsewhere");
  EXPECT_THAT(logged, AllOf(HasSubstr("gh: exit 4"), Not(HasSubstr("gho_hush"))));
}

TEST_P(GithubDetectionTest, doesNotWaitForever) {
  limit = 2s;
  installGH("echo gho_hush; exec sleep 60");
  EXPECT_THAT(failure(), testing::Pair(Case::timedOut, StartsWith("gh did not answer within 2 s.")));
  limit = 700ms;
  writeProfiles("sleep 60\n");
  EXPECT_THAT(failure(), testing::Pair(Case::timedOut, AllOf(StartsWith("The login shell "),
                                                             HasSubstr(" did not finish starting within 0.7 s."))));
}

INSTANTIATE_TEST_SUITE_P(, GithubDetectionTest, testing::Values("/bin/bash", "/bin/zsh", "/bin/sh", "/usr/bin/fish"),
                         [](const auto& info) { return std::filesystem::path(info.param).filename().string(); });

}  // namespace
}  // namespace ravant::test
