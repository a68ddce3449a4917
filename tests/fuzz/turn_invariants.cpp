#include "tests/fuzz/turn_invariants.hpp"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <optional>
#include <variant>

#include "core/overloaded.hpp"
#include "platform/text/text.hpp"
#include "platform/text/utf8.hpp"

namespace ravant::fuzz {
namespace {

void expectValid(const std::string& text) { expect(isValidUtf8(text), "a text is not valid UTF-8"); }
void expectValid(const std::optional<std::string>& text) {
  if (text) expectValid(*text);
}

void expectValidTexts(const TranscriptAction& action) {
  std::visit(Overloaded{[](const turn::AppendAgentMessage& message) {
                          expectValid(message.rawJSON);
                          expectValid(message.text);
                          expectValid(message.agentModel);
                          expectValid(message.providerMessageId);
                        },
                        [](const turn::AppendToolInvocation& call) {
                          expectValid(call.rawJSON);
                          expectValid(call.toolName);
                          expectValid(call.toolCallId);
                          expectValid(call.input);
                          expectValid(call.output);
                        },
                        [](const turn::UpdateToolInvocation& call) {
                          expectValid(call.toolName);
                          expectValid(call.input);
                          expectValid(call.output);
                        },
                        [](const turn::CompleteToolInvocation& call) { expectValid(call.output); },
                        [](const turn::SetSession& session) { expectValid(session.sessionId); }, [](const auto&) {}},
             action);
}

}  // namespace

void expect(bool holds, std::string_view what) {
  if (holds) return;
  std::fprintf(stderr, "does not hold: %.*s\n", static_cast<int>(what.size()), what.data());
  std::abort();
}

std::string_view text(const std::uint8_t* bytes, std::size_t size) {
  return {reinterpret_cast<const char*>(bytes), size};
}

std::vector<std::string> lines(std::string_view text) {
  std::vector<std::string> all;
  while (!text.empty()) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    all.push_back(repairUtf8(std::string(text.substr(0, end))));
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return all;
}

std::vector<turn::Action> playCommand(AgentTurn& turn, const std::vector<std::string>& lines) {
  std::vector<turn::Action> actions;
  for (const std::string& line : lines) std::ranges::move(turn.onLine(line), std::back_inserter(actions));
  std::ranges::move(turn.onCommandEnd(), std::back_inserter(actions));
  return actions;
}

void expectLawfulTurn(const Play& play, std::string_view output) {
  const std::vector<std::string> told = lines(output);
  const std::vector<turn::Action> actions = play(told);
  expect(actions == play(told), "the same lines are answered alike");

  int ends = 0;
  bool hasGrown = false;
  bool isStored = false;
  for (const turn::Action& action : actions) {
    std::visit(
        Overloaded{[&](const TranscriptAction& entry) {
                     expectValidTexts(entry);
                     isStored |= std::holds_alternative<turn::AppendAgentMessage>(entry);
                   },
                   [&](const turn::Grow& grow) {
                     expectValid(grow.text);
                     hasGrown |= grow.kind == GrowthKind::message && !trimmed(grow.text).empty();
                   },
                   [&](const turn::Retry& retry) { expectValid(retry.reason); }, [&](const turn::Finish&) { ++ends; },
                   [&](const turn::Fail& fail) {
                     expectValid(fail.text);
                     ++ends;
                     isStored = true;
                   }},
        action);
  }
  expect(ends <= 1, "a turn ends once");
  expect(isStored || !hasGrown, "what grew is stored");
}

}  // namespace ravant::fuzz
