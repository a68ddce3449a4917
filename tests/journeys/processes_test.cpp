#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <csignal>

#include "tests/journeys/sandbox.hpp"
#include "tests/support/descriptors.hpp"
#include "tests/support/processes.hpp"

namespace ravant::test {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

/// Commands of an agent that start a server in a session of its own, and a job that is not.
std::string detaching() {
  return "echo $$ >\"$HOME/agent.pid\"\n"
         "(setsid sh -c 'echo $$ >\"$HOME/server.pid\"; exec sleep 1000' >/dev/null 2>&1 </dev/null &)\n"
         "sleep 1000 >/dev/null 2>&1 </dev/null & echo $! >\"$HOME/job.pid\"\n"
         "until [ -s \"$HOME/server.pid\" ]; do :; done\n";
}

std::string answering() { return claude_says::begin() + claude_says::text("It runs.") + claude_says::end(); }

std::string hanging() {
  return claude_says::begin() + claude_says::toolUse("call-1", "make") + "exec tail -f /dev/null\n";
}

pid_t pidOf(const Sandbox& sandbox, const std::string& name) {
  pid_t pid = 0;
  std::ifstream(sandbox.home() / (name + ".pid")) >> pid;
  return pid;
}

/// The listed process with this pid; null where it is not listed.
json::value listed(const json::value& processes, pid_t pid) {
  for (const json::value& process : processes.as_array()) {
    if (process.at("pid") == pid) return process;
  }
  return {};
}

TEST(Processes, WhatAnAgentDetachedOutlivesThePromptUntilItIsEnded) {
  const Sandbox sandbox;
  sandbox.addAgent(detaching() + answering());
  ASSERT_EQ(sandbox.run({"run", "--agent", "claude", "Start the server"}).status, 0);
  const pid_t server = pidOf(sandbox, "server");
  EXPECT_FALSE(isAlive(pidOf(sandbox, "agent")));
  EXPECT_FALSE(isAlive(pidOf(sandbox, "job")));
  ASSERT_TRUE(isAlive(server));

  const json::value process = listed(sandbox.json({"process", "list"}), server);
  ASSERT_TRUE(process.is_object());
  EXPECT_EQ(process.at("command"), "sleep 1000");
  EXPECT_EQ(process.at("folder").as_string(), sandbox.project().string());
  EXPECT_EQ(process.at("processes"), 1);
  EXPECT_TRUE(listed(sandbox.json({"doctor"}).at("processes"), server).is_object());
  const std::string line = fmt::format("{} ", server);
  for (const auto& words : {std::vector<std::string>{"process", "list"}, {"doctor"}}) {
    EXPECT_THAT(sandbox.run(words).output, HasSubstr("\n" + line));
  }

  const ProgramResult ended = sandbox.run({"process", "end", std::to_string(server)});
  EXPECT_EQ(ended.status, 0) << ended.errors;
  EXPECT_FALSE(isAlive(server));
  EXPECT_TRUE(listed(sandbox.json({"process", "list"}), server).is_null());
  const ProgramResult again = sandbox.run({"process", "end", std::to_string(server)});
  EXPECT_EQ(again.status, 1);
  EXPECT_EQ(again.errors, fmt::format("ravant: there is no process {}\n", server));
  EXPECT_EQ(sandbox.run({"process", "end", "99999999999"}).status, 1);
}

TEST(Processes, ACancelledPromptLeavesNothing) {
  const Sandbox sandbox;
  sandbox.addAgent(detaching() + hanging());
  Program program = sandbox.start({"run", "--agent", "claude", "--json", "Hello"});
  ASSERT_TRUE(program.readUntil("\"running\""));
  const pid_t agent = pidOf(sandbox, "agent");
  const ProgramResult refused = sandbox.run({"process", "end", std::to_string(agent)});
  EXPECT_EQ(refused.status, 1);
  EXPECT_THAT(refused.errors, HasSubstr(fmt::format("the process {}; end it there", program.pid())));
  EXPECT_TRUE(isAlive(agent));

  program.signal(SIGINT);
  EXPECT_EQ(program.wait().status, 130);
  for (const char* name : {"agent", "job", "server"}) EXPECT_FALSE(isAlive(pidOf(sandbox, name))) << name;
}

TEST(Processes, TheNextStartEndsWhatAKilledProgramLeftButNotWhatWasDetached) {
  const Sandbox sandbox;
  sandbox.addAgent(detaching() + hanging());
  Program program = sandbox.start({"run", "--agent", "claude", "--json", "Hello"});
  ASSERT_TRUE(program.readUntil("\"running\""));
  program.signal(SIGKILL);
  program.wait();
  EXPECT_EQ(sandbox.run({"project", "list"}).status, 0);
  for (const char* name : {"agent", "job"}) EXPECT_FALSE(isAlive(pidOf(sandbox, name))) << name;
  EXPECT_TRUE(isAlive(pidOf(sandbox, "server")));
  EXPECT_EQ(sandbox.run({"process", "end", std::to_string(pidOf(sandbox, "server"))}).status, 0);
}

TEST(Processes, ARavantThatRunsInWhatIsEndedIsNamedFirst) {
  const Sandbox sandbox;
  const Sandbox inner;
  inner.addAgent("echo $$ >\"$HOME/agent.pid\"\n" + hanging());
  sandbox.addAgent(fmt::format("RAVANT_DATA_DIR='{}' HOME='{}' XDG_CONFIG_HOME='{}' setsid sh -c "
                               "'echo $$ >\"{}/server.pid\"; {} run --agent claude inner; exec sleep 1000' "
                               ">/dev/null 2>&1 </dev/null &\n"
                               "until [ -s '{}/agent.pid' ]; do :; done\n",
                               inner.data().string(), inner.home().string(),
                               inner.settings().parent_path().parent_path().string(), sandbox.home().string(),
                               RAVANT_PROGRAM, inner.home().string()) +
                   answering());
  ASSERT_EQ(sandbox.run({"run", "--agent", "claude", "Hello"}).status, 0);
  const std::string server = std::to_string(pidOf(sandbox, "server"));
  EXPECT_TRUE(isAlive(pidOf(inner, "agent")));
  EXPECT_EQ(listed(sandbox.json({"process", "list"}), pidOf(inner, "agent")), json::value());
  const ProgramResult refused = sandbox.run({"process", "end", server});
  EXPECT_EQ(refused.status, 1);
  EXPECT_THAT(refused.errors, HasSubstr("runs another Ravant with agents, the process "));
  EXPECT_TRUE(isAlive(pidOf(inner, "agent")));

  const std::string named = refused.errors.substr(refused.errors.find("the process ", 40) + 12);
  const pid_t other = std::stoi(named);
  ::kill(other, SIGTERM);
  while (isAlive(other)) {
  }
  EXPECT_FALSE(isAlive(pidOf(inner, "agent")));
  EXPECT_EQ(sandbox.run({"process", "end", server}).status, 0);
}

TEST(Processes, AnInterruptionOfTheFirstStartOrTheDoctorEndsTheLoginShell) {
  for (const std::string command : {"list", "doctor"}) {
    const Sandbox sandbox;
    const std::string gate = sandbox.home() / "gate";
    ASSERT_EQ(::mkfifo(gate.c_str(), 0600), 0);
    std::ofstream(sandbox.home() / ".bash_profile")
        << "trap '' INT TERM\necho $$ >\"$HOME/gate\"\nwhile :; do sleep 1; done\n";
    Program program = sandbox.start(command == "doctor" ? std::vector<std::string>{command}
                                                        : std::vector<std::string>{"project", command});
    pid_t shell = 0;
    std::ifstream(gate) >> shell;
    ASSERT_TRUE(isAlive(shell));
    program.signal(SIGINT);
    EXPECT_EQ(program.wait().status, 130);
    EXPECT_FALSE(isAlive(shell)) << command;
  }
}

TEST(Processes, AgentsGetTheDescriptorLimitOfTheUser) {
  const Sandbox sandbox;
  sandbox.addAgent("ulimit -Sn >\"$HOME/limit\"\n" + answering());
  {
    const DescriptorLimit limit(300);
    ASSERT_EQ(sandbox.run({"run", "--agent", "claude", "Hello"}).status, 0);
  }
  int limit = 0;
  std::ifstream(sandbox.home() / "limit") >> limit;
  EXPECT_EQ(limit, 300);
}

}  // namespace
}  // namespace ravant::test
