#include "app/agent_locator.hpp"

#include <gmock/gmock.h>

#include "app/application.hpp"
#include "tests/support/run.hpp"
#include "tests/support/temporary_folder.hpp"

namespace ravant::test {
namespace {

class Locator : public testing::Test {
 protected:
  void addProgram(const char* name, const std::string& script) {
    std::filesystem::permissions(folder.write(name, "#!/bin/sh\n" + script), std::filesystem::perms::owner_all);
  }

  TemporaryFolder folder;
  Executors executors;
};

TEST_F(Locator, asksEveryProgramForItsVersionAndWaitsForNone) {
  addProgram("claude", "echo '2.1.329 (Claude Code)'; echo more");
  addProgram("codex", "exec sleep 60");
  addProgram("pi", "exit 3");
  folder.write("cursor-agent", "not executable");

  const std::string searchPath = "relative:" + folder.path().string() + ":/usr/bin:/bin";
  const auto located = run(locateAgents(
      {.shellPath = "/bin/sh", .versionLimit = std::chrono::seconds(5), .processes = {}}, searchPath, executors.io()));
  std::map<AgentType, std::pair<std::string, std::string>> found;
  for (const LocatedAgent& agent : located) found[agent.type] = {agent.path, agent.version};
  EXPECT_EQ(found[AgentType::claude], std::pair((folder / "claude").string(), std::string("2.1.329 (Claude Code)")));
  EXPECT_EQ(found[AgentType::codex], std::pair((folder / "codex").string(), std::string()));
  EXPECT_EQ(found[AgentType::pi], std::pair((folder / "pi").string(), std::string()));
  EXPECT_NE(found[AgentType::cursor].first, (folder / "cursor-agent").string());
}

TEST_F(Locator, readsTheSearchPathOfTheLoginShell) {
  folder.write(".profile", "echo noise\nPATH=/from/profile:$PATH\n");
  ::setenv("HOME", folder.path().c_str(), 1);
  const auto environment = run(readShellEnvironment({.shellPath = "/bin/sh", .processes = {}}, executors.io()));
  EXPECT_THAT(environment.searchPath, testing::StartsWith("/from/profile:"));
}

TEST_F(Locator, firstStartRegistersWhatIsInstalled) {
  std::filesystem::create_directories(folder / ".local/bin");
  addProgram(".local/bin/claude", "echo 1");
  ::setenv("HOME", folder.path().c_str(), 1);
  ::setenv("SHELL", "/bin/sh", 1);
  const Locations locations{.dataFolder = folder / "data", .settingsFile = folder / "settings.json"};
  for (const std::size_t expected : {2U, 1U}) {
    const auto application = Application::open(locations);
    asio::io_context loop;
    run(application->prepare(), loop);
    const std::vector<Agent> agents = run(application->agents().agents(), loop);
    ASSERT_EQ(agents.size(), expected);
    EXPECT_EQ(agents.back().type, AgentType::ravant);
    // What the user removed stays away.
    if (expected == 2) run(application->agents().removeAgent(agents.front().id), loop);
    run(application->shutdown(), loop);
  }
}

}  // namespace
}  // namespace ravant::test
