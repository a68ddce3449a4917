#include "integrations/github/github_diff_parser.hpp"

#include <algorithm>

#include "platform/text/utf8.hpp"
#include "tests/fuzz/turn_invariants.hpp"

namespace ravant::fuzz {
namespace {

/// The next of a side's numbers are one apart, from the start on.
void expectNext(std::optional<std::int64_t> number, bool isThere, std::int64_t& next) {
  expect(number.has_value() == isThere, "a line has a number on its own sides only");
  if (isThere) expect(*number == next++, "the numbers of a side run on");
}

/// How many lines of the patch it accounts for.
std::int64_t checkHunk(const GithubDiffHunk& hunk, std::int64_t& index) {
  using Kind = GithubDiffLine::Kind;
  auto [nextOld, nextNew] = GithubDiffParser::parseHeader(hunk.header);
  const char* at = hunk.patch->data();
  for (const GithubDiffLine& line : hunk.lines) {
    expect(line.index == index++, "the index runs on over the hunks");
    expectNext(line.oldNumber, line.kind != Kind::added, nextOld);
    expectNext(line.newNumber, line.kind != Kind::removed, nextNew);
    expect(line.text.data() >= at, "lines follow each other");
    at = line.text.data() + line.text.size();
    const char* const end = hunk.patch->data() + hunk.patch->size();
    expect(at == end || *at == '\n', "a line goes as far as the line feed");
    expect(!line.text.contains('\n') && isValidUtf8(line.text), "a line is one of valid text");
  }
  return 1 + static_cast<std::int64_t>(hunk.lines.size());
}

}  // namespace
}  // namespace ravant::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  using namespace ravant;
  const std::string patch = repairUtf8(std::string(fuzz::text(bytes, size)));
  const std::vector<GithubDiffHunk> hunks = GithubDiffParser::hunks(patch);
  std::int64_t index = 0;
  std::int64_t accountedFor = 0;
  for (const GithubDiffHunk& hunk : hunks) accountedFor += fuzz::checkHunk(hunk, index);

  std::int64_t headers = 0;
  std::int64_t leftOut = 0;
  for (std::size_t at = 0; at <= patch.size(); at = std::min(patch.find('\n', at), patch.size()) + 1) {
    if (patch.compare(at, 2, "@@") == 0) ++headers;
    if (headers == 0 || patch.compare(at, 1, "\\") == 0) ++leftOut;
  }
  fuzz::expect(headers == static_cast<std::int64_t>(hunks.size()), "each header begins a hunk");
  fuzz::expect(accountedFor + leftOut == std::ranges::count(patch, '\n') + 1, "no line is lost");
  return 0;
}
