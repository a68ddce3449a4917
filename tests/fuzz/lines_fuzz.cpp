#include <algorithm>

#include "platform/text/line_buffer.hpp"
#include "platform/text/utf8.hpp"
#include "tests/fuzz/turn_invariants.hpp"

namespace ravant::fuzz {
namespace {

/// The lines of what arrives in pieces, and what is left unfinished.
std::vector<std::string> arrived(std::string_view bytes, std::size_t piece) {
  LineBuffer buffer;
  std::vector<std::string> lines;
  while (!bytes.empty()) {
    buffer.append(bytes.substr(0, piece));
    bytes.remove_prefix(std::min(piece, bytes.size()));
    while (const auto line = buffer.tryNext()) lines.emplace_back(*line);
  }
  lines.emplace_back(buffer.unread());
  return lines;
}

}  // namespace
}  // namespace ravant::fuzz

// Where the stream is cut changes nothing, and repairing is done once.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  using namespace ravant;
  if (size < 2) return 0;
  const std::string_view text = fuzz::text(bytes, size).substr(1);
  const auto whole = fuzz::arrived(text, text.size());
  fuzz::expect(fuzz::arrived(text, 1 + bytes[0]) == whole, "cuts change no line");
  std::string all;
  for (const std::string& line : whole) all.append(line) += '\n';
  all.pop_back();
  fuzz::expect(all == text, "no byte is lost");
  const std::string repaired = repairUtf8(std::string(text));
  fuzz::expect(isValidUtf8(repaired), "what was repaired is valid");
  fuzz::expect(repairUtf8(repaired) == repaired, "what is valid is left alone");
  return 0;
}
