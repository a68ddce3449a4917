#include "tests/agents/fake_agent.hpp"

#include <fmt/format.h>

#include "platform/process/shell_quoted.hpp"

namespace ravant::test {

std::string FakeAgent::program(std::size_t turn, CassetteFault fault) {
  const auto variable = [](const char* name, const std::string& value) {
    return fmt::format("export {}={}\n", name, shellQuoted(value));
  };
  const auto program =
      state_.write(fmt::format("the agent's \"${}\"", ++programs_),
                   fmt::format("#!/bin/sh\n{}{}{}{}exec {} \"$@\"\n", variable(kCassetteVariable, cassette_),
                               variable(kCassetteStateVariable, state_.path()),
                               variable(kCassetteTurnVariable, std::to_string(turn)),
                               variable(kCassetteFaultVariable, fault.text()), shellQuoted(RAVANT_CASSETTE_PLAYER)));
  std::filesystem::permissions(program, std::filesystem::perms::owner_all);
  return program;
}

std::vector<std::vector<std::string>> FakeAgent::notes() const {
  std::vector<std::vector<std::string>> notes;
  for (;;) {
    std::ifstream file(state_ / fmt::format("invocation-{}", notes.size() + 1), std::ios::binary);
    if (!file) return notes;
    std::vector<std::string>& texts = notes.emplace_back();
    for (std::string text; std::getline(file, text, '\0');) texts.push_back(text);
  }
}

std::vector<FakeAgent::Arguments> FakeAgent::invocations() const {
  auto invocations = notes();
  for (Arguments& arguments : invocations) arguments.erase(arguments.begin());
  return invocations;
}

std::vector<std::filesystem::path> FakeAgent::workingDirectories() const {
  std::vector<std::filesystem::path> folders;
  for (const auto& texts : notes()) folders.emplace_back(texts.at(0));
  return folders;
}

std::vector<pid_t> FakeAgent::processes() const {
  std::vector<pid_t> processes;
  std::ifstream file(state_ / "processes");
  for (pid_t pid = 0; file >> pid;) processes.push_back(pid);
  return processes;
}

}  // namespace ravant::test
