#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "core/turn_action.hpp"
#include "runners/agent_turn.hpp"

namespace ravant::fuzz {

/// Ends the program, so that the fuzzer keeps the input, unless it holds.
void expect(bool holds, std::string_view what);

/// The bytes that a fuzzer hands over.
std::string_view text(const std::uint8_t* bytes, std::size_t size);

/// As runners are given them: without their line feeds, in valid UTF-8.
std::vector<std::string> lines(std::string_view text);

/// Plays a whole turn, to its end, with a state machine of its own.
using Play = std::function<std::vector<turn::Action>(const std::vector<std::string>& lines)>;

/// The turn of an agent that is a command: its lines, then its end.
std::vector<turn::Action> playCommand(AgentTurn& turn, const std::vector<std::string>& lines);

/// What holds for every agent's turn, whatever the agent prints: the same lines are answered alike, the turn ends at
/// most once, all texts are valid UTF-8, and an answer that grew is stored unless the turn fails.
void expectLawfulTurn(const Play& play, std::string_view output);

}  // namespace ravant::fuzz
