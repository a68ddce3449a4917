#pragma once

#include <sys/types.h>

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "tests/agents/cassette.hpp"
#include "tests/support/temporary_folder.hpp"

namespace ravant::test {

/// A program that stands for an agent and plays a cassette, one turn after another with each prompt.
class FakeAgent {
 public:
  using Arguments = std::vector<std::string>;

  explicit FakeAgent(std::filesystem::path cassette) : cassette_(std::move(cassette)) {}

  /// What to run as the agent; each call gives a program of its own. `turn` counts from 1 and is
  /// played for every prompt; 0 plays the next one.
  std::string program(std::size_t turn = 0, CassetteFault fault = {});

  /// Lets go on a run that waits, or will wait, for this name.
  void release(std::string_view name) const { state_.write(name, {}); }

  /// What it was given for each prompt: its arguments, or the request where it is a server.
  std::vector<Arguments> invocations() const;
  /// Where it ran for each prompt.
  std::vector<std::filesystem::path> workingDirectories() const;
  /// Every process that the runs were or started, and the shells that ran them, unless they were replaced.
  std::vector<pid_t> processes() const;

 private:
  /// The working directory and the arguments of each run.
  std::vector<std::vector<std::string>> notes() const;

  std::filesystem::path cassette_;
  TemporaryFolder state_;
  int programs_ = 0;
};

}  // namespace ravant::test
