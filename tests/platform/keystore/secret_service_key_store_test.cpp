#include "platform/keystore/secret_service_key_store.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>

#include <cstdlib>
#include <fstream>
#include <optional>
#include <stop_token>
#include <thread>

#include "platform/files/private_file.hpp"
#include "tests/support/forked.hpp"
#include "tests/support/program.hpp"
#include "tests/support/temporary_folder.hpp"

namespace ravant::test {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using testing::Each;
using testing::ElementsAre;
using testing::MatchesRegex;
using testing::StartsWith;

using Case = KeyStoreError::Case;

const KeyName kName{.service = "tracker", .account = "me@example.com"};

std::string nameOf(Case kind) {
  switch (kind) {
    case Case::unavailable:
      return "unavailable";
    case Case::locked:
      return "locked";
    case Case::failed:
      return "failed";
  }
  return "unknown";
}

/// A desktop's session bus, on which no service begins by itself, and its key store.
class SecretServiceKeyStoreTest : public testing::Test {
 protected:
  using Operation = std::function<std::string(KeyStore&)>;
  enum class Login { withPassword, without };

  SecretServiceKeyStoreTest() {
    for (const char* name : {"home", "data", "run"}) {
      fs::create_directory(folder_ / name);
      ::chmod((folder_ / name).c_str(), 0700);
    }
  }

  void startBus() {
    folder_.write("bus.conf",
                  "<busconfig><type>session</type><listen>" + address_ +
                      "</listen><policy context=\"default\"><allow send_destination=\"*\" eavesdrop=\"true\"/>"
                      "<allow eavesdrop=\"true\"/><allow own=\"*\"/></policy></busconfig>");
    bus_.emplace(ProgramOptions{.path = "/usr/bin/dbus-daemon",
                                .arguments = {"--config-file=" + (folder_ / "bus.conf").string(), "--nofork",
                                              "--nopidfile", "--print-address"}});
    ASSERT_TRUE(bus_->readUntil("unix:")) << bus_->wait().errors;
  }

  void startKeyring(Login login) {
    Program monitor({.path = "/usr/bin/dbus-monitor",
                     .arguments = {"--address", address_, "type='signal',member='NameOwnerChanged'"}});
    ASSERT_TRUE(monitor.readUntil("NameLost")) << "it has begun to listen";
    std::vector<std::string> arguments = {"--foreground", "--components=secrets"};
    if (login == Login::withPassword) arguments.emplace_back("--unlock");
    keyring_.emplace(ProgramOptions{.path = "/usr/bin/gnome-keyring-daemon",
                                    .arguments = arguments,
                                    .environment = {{"HOME", folder_ / "home"},
                                                    {"XDG_DATA_HOME", folder_ / "data"},
                                                    {"XDG_RUNTIME_DIR", folder_ / "run"},
                                                    {"DBUS_SESSION_BUS_ADDRESS", address_}},
                                    .input = login == Login::withPassword ? "password" : ""});
    ASSERT_TRUE(monitor.readUntil("\"org.freedesktop.secrets\""));
  }

  void stopKeyring() {
    keyring_->signal(SIGTERM);
    keyring_->wait();
    keyring_.reset();
  }

  /// What a program of this desktop gets: the texts that the operations return, or the errors. It is a process of its
  /// own, for one process keeps its connection to the bus.
  std::vector<std::string> results(const std::vector<Operation>& operations, std::chrono::milliseconds limit = 60s) {
    const auto file = [&](std::size_t index) { return folder_ / ("result" + std::to_string(index)); };
    const Forked program([&] {
      ::setenv("DBUS_SESSION_BUS_ADDRESS", address_.c_str(), 1);
      if (address_.empty()) ::unsetenv("DBUS_SESSION_BUS_ADDRESS");
      ::setenv("XDG_RUNTIME_DIR", (folder_ / "run").c_str(), 1);
      ::unsetenv("DISPLAY");
      SecretServiceKeyStore store(limit);
      for (std::size_t i = 0; i < operations.size(); ++i) std::ofstream(file(i)) << textOf(operations[i], store);
    });
    EXPECT_TRUE(program.succeeds());
    std::vector<std::string> texts;
    for (std::size_t i = 0; i < operations.size(); ++i) {
      texts.push_back(readFile(file(i)).value_or("no result"));
      fs::remove(file(i));
    }
    return texts;
  }

  static std::string textOf(const Operation& operation, KeyStore& store) {
    try {
      return operation(store);
    } catch (const KeyStoreError& error) {
      return nameOf(error.kind()) + ": " + error.what();
    }
  }
  static Operation reading(KeyName name) {
    return [=](KeyStore& store) { return store.read(name).value_or("(none)"); };
  }
  static Operation storing(KeyName name, std::string secret) {
    return [=](KeyStore& store) {
      store.store(name, secret, "Ravant: tracker");
      return "stored";
    };
  }
  static Operation removing(KeyName name) {
    return [=](KeyStore& store) { return store.remove(name) ? "removed" : "(none)"; };
  }
  static std::vector<Operation> everyOperation() { return {reading(kName), storing(kName, "hush"), removing(kName)}; }

  TemporaryFolder folder_;
  std::string address_ = "unix:path=" + (folder_ / "bus").string();
  std::optional<Program> bus_;
  std::optional<Program> keyring_;
};

TEST_F(SecretServiceKeyStoreTest, keepsSecretsForOtherProcesses) {
  ASSERT_NO_FATAL_FAILURE(startBus());
  ASSERT_NO_FATAL_FAILURE(startKeyring(Login::withPassword));
  const KeyName other{.service = "tracker", .account = "you"};
  const KeyName swapped{.service = kName.account, .account = kName.service};
  const std::string odd = "ключ-🔑\n\"\\ ";
  const std::string huge(100'000, 'k');
  EXPECT_THAT(results({reading(kName), removing(kName), storing(kName, "first"), storing(other, huge), reading(kName)}),
              ElementsAre("(none)", "(none)", "stored", "stored", "first"));
  EXPECT_THAT(results({reading(kName), storing(kName, odd), reading(kName)}), ElementsAre("first", "stored", odd));
  stopKeyring();
  ASSERT_NO_FATAL_FAILURE(startKeyring(Login::withPassword));
  EXPECT_THAT(results({reading(kName), reading(other), reading(swapped), removing(kName), removing(kName),
                       reading(kName), reading(other)}),
              ElementsAre(odd, huge, "(none)", "removed", "(none)", "(none)", huge));
}

TEST_F(SecretServiceKeyStoreTest, aLockedStoreIsAnError) {
  ASSERT_NO_FATAL_FAILURE(startBus());
  ASSERT_NO_FATAL_FAILURE(startKeyring(Login::withPassword));
  EXPECT_THAT(results({storing(kName, "hush")}), ElementsAre("stored"));
  stopKeyring();
  ASSERT_NO_FATAL_FAILURE(startKeyring(Login::without));
  EXPECT_THAT(results(everyOperation(), 3s), Each(StartsWith("locked: ")));
}

TEST_F(SecretServiceKeyStoreTest, oneThatNobodyMadeYetHasNothing) {
  ASSERT_NO_FATAL_FAILURE(startBus());
  ASSERT_NO_FATAL_FAILURE(startKeyring(Login::without));
  // To make it, somebody would have to choose a password.
  EXPECT_THAT(results({reading(kName), removing(kName), storing(kName, "hush"), reading(kName)}, 3s),
              ElementsAre("(none)", "(none)", MatchesRegex("(locked|unavailable): .+"), "(none)"));
}

TEST_F(SecretServiceKeyStoreTest, oneThatDoesNotAnswerEndsAtTheLimit) {
  ASSERT_NO_FATAL_FAILURE(startBus());
  ASSERT_NO_FATAL_FAILURE(startKeyring(Login::withPassword));
  keyring_->signal(SIGSTOP);
  EXPECT_THAT(results(everyOperation(), 300ms), Each("locked: the key store did not answer in time"));
}

TEST_F(SecretServiceKeyStoreTest, oneThatDoesNotAnswerIsLeftWhenNobodyWaitsAnyMore) {
  ASSERT_NO_FATAL_FAILURE(startBus());
  ASSERT_NO_FATAL_FAILURE(startKeyring(Login::withPassword));
  keyring_->signal(SIGSTOP);
  const auto began = std::chrono::steady_clock::now();
  const Operation stopped = [](KeyStore& store) {
    std::stop_source stop;
    const std::jthread other([&] { stop.request_stop(); });
    return store.read(kName, stop.get_token()).value_or("(none)");
  };
  EXPECT_THAT(results({stopped}, 60s), Each(StartsWith("locked: ")));
  EXPECT_LT(std::chrono::steady_clock::now() - began, 30s);
}

enum class Absence { noService, noBus, noAddress };

class AbsentSecretServiceTest : public SecretServiceKeyStoreTest, public testing::WithParamInterface<Absence> {};

TEST_P(AbsentSecretServiceTest, isUnavailableAtOnce) {
  if (GetParam() == Absence::noService) ASSERT_NO_FATAL_FAILURE(startBus());
  if (GetParam() == Absence::noAddress) address_.clear();
  const auto began = std::chrono::steady_clock::now();
  EXPECT_THAT(results(everyOperation()),
              Each("unavailable: no service for keys (Secret Service) runs in this session"));
  EXPECT_LT(std::chrono::steady_clock::now() - began, 30s);
}

INSTANTIATE_TEST_SUITE_P(, AbsentSecretServiceTest,
                         testing::Values(Absence::noService, Absence::noBus, Absence::noAddress), [](const auto& info) {
                           switch (info.param) {
                             case Absence::noService:
                               return "noService";
                             case Absence::noBus:
                               return "noBus";
                             case Absence::noAddress:
                               return "noAddress";
                           }
                           return "";
                         });

}  // namespace
}  // namespace ravant::test
