#include "desktop/text/file_links.hpp"
#include "desktop/text/highlighter.hpp"
#include "desktop/text/html_writer.hpp"
#include "desktop/text/markdown_blocks.hpp"
#include "tests/desktop/text/html_checker.hpp"
#include "tests/fuzz/turn_invariants.hpp"

namespace ravant::fuzz {
namespace {

std::string withoutBlanks(std::string text) {
  std::erase_if(text, [](char byte) { return byte == ' ' || byte == '\t' || byte == '\n' || byte == '\r'; });
  return text;
}

void expectLawfulSpans(const desktop::Highlighter& highlighter, std::u16string_view line,
                       desktop::Highlighter::State& state) {
  std::size_t end = 0;
  for (const desktop::CodeSpan& span : highlighter.line(line, state)) {
    expect(span.begin >= end && span.length > 0, "spans are in their order and apart");
    end = span.begin + span.length;
  }
  expect(end <= line.size(), "spans are within the line");
}

}  // namespace
}  // namespace ravant::fuzz

// The HTML is harmless, no more than is promised, and what is copied is what was written; any line can be painted.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  using namespace ravant;
  const std::string_view text = fuzz::text(bytes, size);
  const auto blocks = desktop::markdownBlocks(text);
  const std::string complaint = test::complaintAbout(blocks);
  fuzz::expect(complaint.empty(), complaint);
  constexpr std::size_t kMostWeight = 11;
  constexpr std::size_t kOfAnything = 256;
  fuzz::expect(test::weightOf(blocks) <= kMostWeight * size + kOfAnything, "the blocks are not many times the text");
  fuzz::expect(test::complaintAbout(desktop::linkedText(text)).empty(), "linked text is harmless");
  std::size_t sources = 0;
  for (const auto& block : blocks) {
    sources += block.source.size();
    desktop::plainText(block);
    if (!block.language) continue;
    const desktop::Highlighter highlighter(*block.language);
    desktop::Highlighter::State state;
    const std::u16string line(block.source.begin(), block.source.end());
    fuzz::expectLawfulSpans(highlighter, line, state);
    fuzz::expectLawfulSpans(highlighter, line, state);
  }
  constexpr std::size_t kRepaired = 3;
  fuzz::expect(sources <= kRepaired * size, "no part is copied twice");
  const bool isBlank = fuzz::withoutBlanks(std::string(text)).empty();
  fuzz::expect(isBlank || !blocks.empty(), "a text that is not blank has a block");
  return 0;
}
