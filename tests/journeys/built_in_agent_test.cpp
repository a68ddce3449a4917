#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <termios.h>

#include <array>
#include <chrono>
#include <csignal>
#include <fstream>

#include "platform/files/private_file.hpp"
#include "platform/process/unique_fd.hpp"
#include "tests/agents/scripted_model.hpp"
#include "tests/journeys/sandbox.hpp"
#include "tests/support/processes.hpp"

namespace ravant::test {
namespace {

using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::StartsWith;

const std::vector<std::string> kRun = {"run", "--agent", "ravant", "--model", "deepseek/deepseek-v4-pro"};

class BuiltInAgent : public testing::Test {
 protected:
  BuiltInAgent() { sandbox.keepKeysInFile(); }

  void play(std::vector<ModelAnswer> script, HttpServer::Transport transport = HttpServer::Transport::plain) {
    model = std::make_unique<ScriptedModel>(std::move(script), transport);
    sandbox.setVariable("RAVANT_OPENROUTER_URL", model->url());
  }
  void setKey() {
    const ProgramResult result = sandbox.run({"key", "set", "openrouter"}, std::string(ScriptedModel::kKey) + "\n");
    EXPECT_EQ(result.status, 0) << result.errors;
  }
  static std::vector<std::string> with(std::vector<std::string> arguments, const std::vector<std::string>& more) {
    arguments.insert(arguments.end(), more.begin(), more.end());
    return arguments;
  }

  Sandbox sandbox;
  Gate gate;
  std::unique_ptr<ScriptedModel> model;
};

TEST_F(BuiltInAgent, answersWhileItIsWatchedAndGoesOnLater) {
  play({calls({{"a", "bash", R"({"command":"cat notes.txt"})"}}, "I look."),
        [&](HttpServer::Connection& connection) {
          connection.beginEventStream();
          connection.write(textEvent("The notes "));
          connection.wait(gate);
          connection.write(textEvent("are short."));
          connection.write(endOfStream(1'000, 50));
        },
        says({"As I said."})});
  setKey();
  std::ofstream(sandbox.project() / "notes.txt") << "one line\n";

  Program first = sandbox.start(with(kRun, {"What is in the notes?"}));
  ASSERT_TRUE(first.readUntil("The notes "));
  gate.open();
  const ProgramResult result = first.wait();
  EXPECT_EQ(result.status, 0) << result.errors;
  EXPECT_THAT(result.output, HasSubstr("\n\nI look.\n\n• bash cat notes.txt\n  ✓ bash\n    one line\n\n"
                                       "The notes are short.\n\n1050 tokens in context (0% of 1048576)\n"));

  const auto told = events(sandbox.run({"run", "--continue", "--json", "And now?"}).output);
  EXPECT_EQ(told.back().at("reason").as_string(), "finished");
  EXPECT_EQ(model->conversations().back(),
            "user: What is in the notes?\nassistant: bash({\"command\":\"cat notes.txt\"}) I look.\n"
            "tool: one line\n\nassistant: The notes are short.\nuser: And now?\n");
}

TEST_F(BuiltInAgent, keepsItsKeyToItself) {
  play({refuses(401, "no such key: " + std::string(ScriptedModel::kKey)), says({"Fine."})});
  setKey();
  const std::vector<ProgramResult> results = {
      sandbox.run(with(kRun, {"--verbose", "one"})), sandbox.run(with(kRun, {"--verbose", "--json", "two"})),
      sandbox.run({"key", "list"}), sandbox.run({"key", "list", "--json"}), sandbox.run({"doctor"})};
  EXPECT_EQ(results[0].status, 1);
  EXPECT_EQ(results[1].status, 0);
  for (const ProgramResult& result : results) {
    EXPECT_THAT(result.output + result.errors, Not(HasSubstr(ScriptedModel::kKey)));
  }
  for (const auto& entry : std::filesystem::recursive_directory_iterator(sandbox.data())) {
    if (!entry.is_regular_file() || entry.path().filename() == "keys.json") continue;
    EXPECT_THAT(readFile(entry.path()).value(), Not(HasSubstr(ScriptedModel::kKey))) << entry.path();
  }
  EXPECT_EQ(std::filesystem::status(sandbox.data() / "keys.json").permissions(),
            std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
}

TEST_F(BuiltInAgent, keepsItsKeyFromItsTools) {
  play({calls({{"a", "bash", R"({"command":"cat /proc/$PPID/environ"})"},
               {"b", "bash", R"({"command":"head -c 1 /proc/$PPID/mem"})"},
               {"c", "bash", R"({"command":"env"})"}}),
        says({"Fine."})});
  sandbox.setVariable("OPENROUTER_API_KEY", std::string(ScriptedModel::kKey));
  sandbox.dropPrivileges();
  EXPECT_EQ(sandbox.run(with(kRun, {"Look for it"})).status, 0);
  const std::string told = model->conversations().back();
  EXPECT_THAT(told, Not(HasSubstr(ScriptedModel::kKey)));
  EXPECT_THAT(told, AllOf(HasSubstr("/environ: Permission denied"), HasSubstr("'/proc/"),
                          HasSubstr("for reading: Permission denied")));
}

TEST_F(BuiltInAgent, interruptedItDoesNotWaitForAKeyStoreThatHangs) {
  play({});
  sandbox.run({"settings", "reset", "keyStore"});
  const std::filesystem::path bus = sandbox.home() / "bus";
  const UniqueFd listener(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
  bus.string().copy(address.sun_path, sizeof(address.sun_path) - 1);
  ASSERT_EQ(::bind(listener.get(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)), 0);
  ASSERT_EQ(::listen(listener.get(), 1), 0);
  sandbox.setVariable("DBUS_SESSION_BUS_ADDRESS", "unix:path=" + bus.string());
  Program run = sandbox.start(with(kRun, {"Hello"}));
  const UniqueFd connection(::accept4(listener.get(), nullptr, nullptr, SOCK_CLOEXEC));
  const auto began = std::chrono::steady_clock::now();
  run.signal(SIGINT);
  const ProgramResult result = run.wait();
  EXPECT_EQ(result.status, 130);
  EXPECT_THAT(result.output, testing::EndsWith("cancelled\n"));
  EXPECT_LT(std::chrono::steady_clock::now() - began, std::chrono::seconds(20));
}

TEST_F(BuiltInAgent, interruptedItStopsItsToolAndGoesOnLater) {
  play({calls({{"a", "bash", R"({"command":"echo begun; echo $$ > pid; sleep 1000"})"}}), says({"Here."})});
  setKey();
  ASSERT_EQ(::mkfifo((sandbox.project() / "pid").c_str(), 0600), 0);
  Program run = sandbox.start(with(kRun, {"Wait"}));
  pid_t pid = 0;
  std::ifstream(sandbox.project() / "pid") >> pid;
  run.signal(SIGINT);
  const ProgramResult result = run.wait();
  EXPECT_EQ(result.status, 130);
  EXPECT_THAT(result.output, HasSubstr("✗ bash\n    begun\n    [cancelled]\n\ncancelled\n"));
  EXPECT_FALSE(isAlive(pid));
  EXPECT_EQ(sandbox.run({"run", "--continue", "Go on"}).status, 0);
}

TEST_F(BuiltInAgent, killedInAToolItGoesOnWithAResultForEachCall) {
  play({calls({{"a", "bash", R"({"command":"echo $$ > pid; sleep 1000"})"}}, "I look."), says({"Here."})});
  setKey();
  ASSERT_EQ(::mkfifo((sandbox.project() / "pid").c_str(), 0600), 0);
  Program run = sandbox.start(with(kRun, {"Wait"}));
  pid_t pid = 0;
  std::ifstream(sandbox.project() / "pid") >> pid;
  run.signal(SIGKILL);
  run.wait();
  const ProgramResult result = sandbox.run({"run", "--continue", "Go on"});
  EXPECT_EQ(result.status, 0) << result.errors;
  EXPECT_FALSE(isAlive(pid));
  EXPECT_THAT(model->conversations().back(),
              AllOf(StartsWith("user: Wait\nassistant: bash({\"command\":\"echo $$ > pid; sleep 1000\"}) I look.\n"
                               "tool: [tool error] "),
                    testing::EndsWith("\nuser: Go on\n")));
}

TEST_F(BuiltInAgent, talksToAnEncryptedGatewayThatIsTrusted) {
  play({says({"Safe."})}, HttpServer::Transport::tls);
  setKey();
  const ProgramResult untrusted = sandbox.run(with(kRun, {"Hello"}));
  EXPECT_EQ(untrusted.status, 1);
  EXPECT_THAT(untrusted.errors, AllOf(StartsWith("ravant: The agent run failed: OpenRouter transport error: "),
                                      HasSubstr("certificate")));
  sandbox.setVariable("SSL_CERT_FILE", model->certificate());
  EXPECT_THAT(sandbox.run(with(kRun, {"Hello"})).output, HasSubstr("Safe."));
}

TEST_F(BuiltInAgent, saysWhatIsMissing) {
  EXPECT_EQ(sandbox.run(with(kRun, {"Hello"})).errors,
            "ravant: The agent run failed: No OpenRouter API key configured. Add one in Settings → Agents → Ravant.\n");
  sandbox.setVariable("OPENROUTER_API_KEY", std::string(ScriptedModel::kKey));
  sandbox.setVariable("RAVANT_OPENROUTER_URL", "http://gateway.example");
  EXPECT_EQ(sandbox.run(with(kRun, {"Hello"})).errors,
            "ravant: The agent run failed: the address of OpenRouter cannot be used: \"http://gateway.example\" is not "
            "encrypted, which only a loopback address may be; an address has the form https://host or "
            "https://host:port\n");
  EXPECT_THAT(sandbox.run({"doctor"}).output, HasSubstr("see the environment variable RAVANT_OPENROUTER_URL"));
  const ProgramResult set = sandbox.run({"settings", "set", "endpoints.mistral", "nonsense"});
  EXPECT_EQ(set.status, 1);
  EXPECT_THAT(set.errors, StartsWith("ravant: \"nonsense\" "));
}

TEST_F(BuiltInAgent, takesTheFirstModelWhoseProviderHasAKey) {
  play({says({"Here."})});
  setKey();
  EXPECT_THAT(sandbox.run({"run", "--agent", "ravant", "Hello"}).output,
              HasSubstr("ravant · anthropic/claude-sonnet-5\n"));
}

TEST_F(BuiltInAgent, hasNoProgramAndNoOtherModels) {
  EXPECT_EQ(sandbox.run({"agent", "set-path", "ravant", "/bin/true"}).errors,
            "ravant: Ravant's own agent is built in: it has no program\n");
  EXPECT_EQ(sandbox.run({"model", "add", "ravant", "my/model"}).errors,
            "ravant: Ravant's own agent runs only the models of its list; \"my/model\" is not one\n");
}

TEST_F(BuiltInAgent, keysAreSetListedAndRemoved) {
  setKey();
  sandbox.setVariable("OPENROUTER_API_KEY", "sk-from-the-environment");
  sandbox.setVariable("MISTRAL_API_KEY", "key");
  EXPECT_EQ(sandbox.json({"key", "list"}),
            parseJson(R"([{"provider":"openrouter","displayName":"OpenRouter","source":"file"},
                          {"provider":"mistral","displayName":"Mistral","source":"environment"}])"));
  EXPECT_EQ(sandbox.run({"key", "remove", "openrouter"}).output,
            "Removed the key of OpenRouter\nThe one in the environment variable OPENROUTER_API_KEY is used now\n");
  EXPECT_EQ(sandbox.run({"key", "remove", "openrouter"}).errors, "ravant: no key of OpenRouter is stored\n");
  EXPECT_EQ(sandbox.run({"key", "set", "openrouter"}, " \n").errors,
            "ravant: the key is empty; to take one away, use \"ravant key remove\"\n");
  EXPECT_EQ(sandbox.run({"key", "set", "openrouter"}, "two words\n").errors,
            "ravant: the key has spaces, line breaks or other characters that none has\n");
  EXPECT_EQ(sandbox.run({"key", "set", "nobody"}, "key\n").errors,
            "ravant: there is no provider \"nobody\"; there is openrouter, mistral\n");
}

TEST_F(BuiltInAgent, aVariableThatHoldsNoKeyIsNamedAndHidesNoStoredOne) {
  play({says({"Here."})});
  sandbox.setVariable("OPENROUTER_API_KEY", "two words");
  const std::string fault =
      "the environment variable OPENROUTER_API_KEY: the key has spaces, line breaks or other characters that none "
      "has";
  EXPECT_EQ(sandbox.run(with(kRun, {"Hello"})).errors, "ravant: The agent run failed: " + fault + "\n");
  EXPECT_THAT(sandbox.run({"key", "list"}).output,
              AllOf(HasSubstr("OpenRouter  not known: " + fault), HasSubstr("Mistral     none")));
  setKey();
  EXPECT_EQ(sandbox.run(with(kRun, {"Hello"})).status, 0);
}

TEST_F(BuiltInAgent, asksThisMachineWithoutAProxy) {
  play({says({"Here."})});
  setKey();
  HttpServer proxy([](const HttpServer::Request&, HttpServer::Connection& connection) { connection.respond(200); });
  sandbox.setVariable("http_proxy", proxy.url());
  sandbox.setVariable("all_proxy", proxy.url());
  EXPECT_EQ(sandbox.run(with(kRun, {"Hello"})).status, 0);
  EXPECT_THAT(proxy.requests(), IsEmpty());
}

TEST_F(BuiltInAgent, withoutAKeyStoreTheWayOutIsNamed) {
  sandbox.run({"settings", "reset", "keyStore"});
  const ProgramResult result = sandbox.run({"key", "set", "openrouter"}, "key\n");
  EXPECT_EQ(result.status, 1);
  EXPECT_THAT(result.output, IsEmpty());
  EXPECT_THAT(result.errors, AllOf(StartsWith("ravant: the desktop's key store does not answer: "),
                                   HasSubstr("not encrypted, run: ravant settings set keyStore file")));
  EXPECT_THAT(sandbox.run({"key", "list"}).output, HasSubstr("openrouter  OpenRouter  none"));
}

TEST(KeyOnATerminal, LeavesTheTerminalAsItWasWhenTheUserQuits) {
  const Sandbox sandbox;
  const std::string home = "HOME=" + sandbox.home().string();
  int terminal = -1;
  const pid_t pid = ::forkpty(&terminal, nullptr, nullptr, nullptr);
  if (pid == 0) {
    ::execle(RAVANT_PROGRAM, "ravant", "key", "set", "openrouter", nullptr,
             std::array<const char*, 2>{home.c_str(), nullptr}.data());
    ::_exit(127);
  }
  const UniqueFd end(terminal);
  termios modes{};
  std::string shown;
  std::array<char, 1024> piece;
  while (!shown.contains("Key of OpenRouter: ")) {
    const ssize_t count = ::read(terminal, piece.data(), piece.size());
    ASSERT_GT(count, 0) << shown;
    shown.append(piece.data(), static_cast<std::size_t>(count));
  }
  ASSERT_EQ(::tcgetattr(terminal, &modes), 0);
  EXPECT_EQ(modes.c_lflag & ECHO, 0u);
  ASSERT_EQ(::write(terminal, "\x1c", 1), 1);
  int status = 0;
  ASSERT_EQ(::waitpid(pid, &status, 0), pid);
  ASSERT_EQ(::tcgetattr(terminal, &modes), 0);
  EXPECT_NE(modes.c_lflag & ECHO, 0u);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 130) << status;
}

}  // namespace
}  // namespace ravant::test
