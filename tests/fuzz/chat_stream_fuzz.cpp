#include <optional>

#include "agent/chat_completions_error.hpp"
#include "agent/chat_turn_assembly.hpp"
#include "platform/text/utf8.hpp"
#include "tests/fuzz/turn_invariants.hpp"

namespace ravant::fuzz {
namespace {

/// The turn's text, or the words of its failure.
std::string play(const std::vector<std::string>& lines) {
  std::string grown;
  ChatTurnAssembly assembly("Provider", {.onText = [&](std::string_view piece) { grown += piece; }});
  try {
    for (const std::string& line : lines) {
      if (assembly.onLine(line) == ChatTurnAssembly::Progress::over) break;
    }
    const ChatTurn turn = assembly.finish();
    expect(turn.text == grown, "what grew is the turn's text");
    return turn.text;
  } catch (const ChatCompletionsError& error) {
    return error.what();
  }
}

}  // namespace
}  // namespace ravant::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  using namespace ravant::fuzz;
  const std::vector<std::string> told = lines(text(bytes, size));
  expect(play(told) == play(told), "the same lines are answered alike");
  return 0;
}
