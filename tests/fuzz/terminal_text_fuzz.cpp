#include "cli/output/terminal_text.hpp"
#include "platform/json/json.hpp"
#include "platform/text/text.hpp"
#include "platform/text/utf8.hpp"
#include "tests/fuzz/turn_invariants.hpp"

namespace ravant::fuzz {
namespace {

void expectHarmless(std::string_view shown) {
  expect(isValidUtf8(shown), "what is shown is valid UTF-8");
  for (const char byte : shown) {
    const auto code = static_cast<unsigned char>(byte);
    expect(code >= ' ' ? code != 0x7f : byte == '\n' || byte == '\t', "no control character is shown");
  }
  expect(!shown.contains("\xC2\x9B") && !shown.contains("\xE2\x80\xAE"), "no control sequence, no override");
}

}  // namespace
}  // namespace ravant::fuzz

// Nothing that is printed can steer a terminal, and what was cut is as narrow as it was asked to be.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  using namespace ravant;
  const std::string_view text = fuzz::text(bytes, size);
  fuzz::expectHarmless(terminalSafe(text));
  fuzz::expectHarmless(cli::shownPath(text));
  const std::string written = compactJson(json::value(repairUtf8(std::string(text))));
  fuzz::expectHarmless(terminalSafeJson(written));
  fuzz::expect(parseJson(terminalSafeJson(written)) == parseJson(written), "escaped JSON means the same");
  const std::string line = oneLine(text);
  fuzz::expectHarmless(line);
  fuzz::expect(!line.contains('\n'), "one line is one");
  fuzz::expect(cli::displayWidth(cli::cutToWidth(line, 20)) <= 20, "what was cut fits");
  return 0;
}
