#include "core/message_segmenter.hpp"

#include "platform/text/utf8.hpp"
#include "tests/fuzz/turn_invariants.hpp"

// Blocks are numbered, never more than the text, and hold its words in their order.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  using namespace ravant;
  const std::string text = repairUtf8(std::string(fuzz::text(bytes, size)));
  std::int64_t index = 0;
  std::size_t total = 0;
  for (const MessageBlock& block : MessageSegmenter::segments(text)) {
    fuzz::expect(block.index == index++, "blocks are numbered in their order");
    fuzz::expect(isValidUtf8(block.text), "a block is valid UTF-8");
    total += block.text.size();
  }
  fuzz::expect(total <= text.size(), "the blocks have no more than the text");
  const bool isBlank = text.find_first_not_of(" \t\r\n\v\f") == std::string::npos;
  fuzz::expect(isBlank || index > 0, "a text that is not blank has a block");
  return 0;
}
