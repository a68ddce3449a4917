#include "tests/git/diff_text.hpp"

#include <gtest/gtest.h>

namespace ravant::test {

std::string diffText(const std::vector<GitDiffHunk>& hunks) {
  std::string text;
  std::int64_t index = 0;
  for (const GitDiffHunk& hunk : hunks) {
    text += hunk.header + '\n';
    for (const GitDiffLine& line : hunk.lines) {
      EXPECT_EQ(line.index, index++);
      EXPECT_EQ(line.oldNumber.has_value(), line.kind != GitDiffLineKind::addition);
      EXPECT_EQ(line.newNumber.has_value(), line.kind != GitDiffLineKind::deletion);
      text += line.kind == GitDiffLineKind::context ? ' ' : line.kind == GitDiffLineKind::addition ? '+' : '-';
      text += line.content + '\n';
    }
  }
  return text;
}

std::string hunksOf(const std::string& diff) {
  std::string text;
  bool isHead = true;
  for (std::size_t begin = 0, end = 0; begin < diff.size(); begin = end + 1) {
    end = diff.find('\n', begin);
    const std::string line = diff.substr(begin, end - begin);
    if (line.starts_with("diff ")) isHead = true;
    if (line.starts_with("@@ ")) isHead = false;
    if (!isHead && !line.starts_with("\\ ")) text += line + '\n';
  }
  return text;
}

}  // namespace ravant::test
