#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "runners/agent_session.hpp"
#include "tests/runners/session_lines.hpp"

namespace ravant::test {

/// Files of an agent's sessions, and what is made of them.
struct SessionFixture {
  const char* name;
  std::vector<SessionFileLines> files;
  std::string transcript;  ///< of every session, with its folder and title
  std::vector<std::string> skipped = {};
  bool isOver = true;
  std::vector<std::string> unknown = {};
};

inline void PrintTo(const SessionFixture& fixture, std::ostream* out) { *out << fixture.name; }

struct SessionsUnderTest {
  std::function<SessionListing(const std::filesystem::path&)> list;
  std::function<std::unique_ptr<AgentSession>(const ListedSession&)> open;
};

void expectTheItemsOfARun(const SessionsUnderTest& agent, const SessionFixture& fixture);

inline constexpr auto kNameOfFixture = [](const auto& info) { return std::string(info.param.name); };

}  // namespace ravant::test
