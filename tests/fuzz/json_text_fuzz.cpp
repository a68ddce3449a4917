#include "platform/json/json.hpp"
#include "tests/fuzz/turn_invariants.hpp"

// What is read can be written and read again, and the fast reader of lines takes what the other one takes.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  using namespace ravant;
  const std::string_view text = fuzz::text(bytes, size);
  const auto value = parseJson(text);
  fuzz::expect(value.has_value() != findJsonFault(text).has_value(), "a refused text has a fault");
  if (!value) return 0;
  const std::string written = compactJson(*value);
  const auto again = parseJson(written);
  fuzz::expect(again.has_value(), "what was written is JSON");
  fuzz::expect(compactJson(*again) == written, "what was written is read as it was");
  fuzz::expect(parseJson(prettyJson(*value)).has_value(), "what was written for people is JSON");
  JsonLineParser parser;
  const json::value* line = parser.parse(text);
  fuzz::expect(line && compactJson(*line) == written, "a line is read alike");
  return 0;
}
