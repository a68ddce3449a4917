#pragma once

#include <filesystem>
#include <functional>
#include <ostream>
#include <string>
#include <vector>

#include "core/agent_type.hpp"
#include "tests/agents/runner_bench.hpp"

namespace ravant::test {

/// One runner, and what the tests of all runners must know of its agent.
///
/// The cassettes of `tests/agents/<type>` have the same names and the same replies for every agent;
/// those of `tests/golden/<type>` are the agent's own.
struct RunnerUnderTest {
  /// Whether each prompt is a command in a shell that stays, or a message to a server that has replaced its shell.
  enum class Hosting { shell, server };

  AgentType type;
  Hosting hosting;
  MakeRunner makeRunner;
  std::function<bool(const std::string&)> endsTurn;  ///< whether a line of a cassette does
  std::function<std::string(const FakeAgent::Arguments&)> promptOf;

  std::filesystem::path cassette(std::string_view name) const;
  std::vector<std::filesystem::path> goldenCassettes() const;
};

std::ostream& operator<<(std::ostream& stream, const RunnerUnderTest& runner);

/// A new runner takes its place in every contract by a row here.
std::vector<RunnerUnderTest> runnersUnderTest();
std::vector<RunnerUnderTest> runnersUnderTest(RunnerUnderTest::Hosting hosting);

}  // namespace ravant::test
