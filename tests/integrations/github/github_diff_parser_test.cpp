#include "integrations/github/github_diff_parser.hpp"

#include <fmt/format.h>
#include <gmock/gmock.h>

namespace ravant::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

std::string shown(std::optional<std::int64_t> number) { return number ? std::to_string(*number) : "-"; }

/// Each hunk's header and lines: "[header]", and "index old new kind|text".
std::vector<std::string> shown(const std::vector<GithubDiffHunk>& hunks) {
  std::vector<std::string> rows;
  for (const GithubDiffHunk& hunk : hunks) {
    rows.push_back(fmt::format("[{}]", hunk.header));
    for (const GithubDiffLine& line : hunk.lines) {
      rows.push_back(fmt::format("{} {} {} {}|{}", line.index, shown(line.oldNumber), shown(line.newNumber),
                                 rawValue(line.kind), line.text));
    }
  }
  return rows;
}

struct PatchCase {
  std::string name;
  std::string patch;
  std::vector<std::string> rows;
};

class GithubDiffPatchTest : public testing::TestWithParam<PatchCase> {};

TEST_P(GithubDiffPatchTest, becomesNumberedLines) {
  EXPECT_THAT(shown(GithubDiffParser::hunks(GetParam().patch)), testing::ElementsAreArray(GetParam().rows));
}

INSTANTIATE_TEST_SUITE_P(
    Patches, GithubDiffPatchTest,
    testing::Values(PatchCase{"all_kinds",
                              "@@ -10,3 +12,3 @@ int main() {\n same\n-old\n+new\n same",
                              {"[@@ -10,3 +12,3 @@ int main() {]", "0 10 12 context|same", "1 11 - removed|old",
                               "2 - 13 added|new", "3 12 14 context|same"}},
                    PatchCase{"index_runs_on_over_hunks",
                              "@@ -1 +1 @@\n-a\n+b\n@@ -90,2 +95,1 @@\n c\n-d",
                              {"[@@ -1 +1 @@]", "0 1 - removed|a", "1 - 1 added|b", "[@@ -90,2 +95,1 @@]",
                               "2 90 95 context|c", "3 91 - removed|d"}},
                    PatchCase{"new_file",
                              "@@ -0,0 +1,3 @@\n+a\n+b\n+c",
                              {"[@@ -0,0 +1,3 @@]", "0 - 1 added|a", "1 - 2 added|b", "2 - 3 added|c"}},
                    PatchCase{"no_final_newline_on_both_sides",
                              "@@ -1 +1 @@\n-a\n\\ No newline at end of file\n+b\n\\ No newline at end of file",
                              {"[@@ -1 +1 @@]", "0 1 - removed|a", "1 - 1 added|b"}},
                    PatchCase{"marks_inside_of_content",
                              "@@ -1,4 +1,4 @@\n @@ -5 +5 @@\n-@@ x\n++++ b/file\n---- a/file\n+\\ no note\n \\",
                              {"[@@ -1,4 +1,4 @@]", "0 1 1 context|@@ -5 +5 @@", "1 2 - removed|@@ x",
                               "2 - 2 added|+++ b/file", "3 3 - removed|--- a/file", "4 - 3 added|\\ no note",
                               "5 4 4 context|\\"}},
                    PatchCase{"carriage_returns_stay",
                              "@@ -1 +1 @@\r\n-a\r\n+b\r\n \r",
                              {"[@@ -1 +1 @@\r]", "0 1 - removed|a\r", "1 - 1 added|b\r", "2 2 2 context|\r"}},
                    PatchCase{"empty_lines_count",
                              "@@ -1,2 +1,2 @@\n\n+\n",
                              {"[@@ -1,2 +1,2 @@]", "0 1 1 context|", "1 - 2 added|", "2 2 3 context|"}},
                    PatchCase{"a_character_is_taken_away_whole",
                              "@@ -1 +1 @@\néa\n漢",
                              {"[@@ -1 +1 @@]", "0 1 1 context|a", "1 2 2 context|"}},
                    PatchCase{"what_is_before_the_first_header",
                              "--- a/file\n+++ b/file\n+x\n@@ -1 +1 @@\n y",
                              {"[@@ -1 +1 @@]", "0 1 1 context|y"}},
                    PatchCase{"headers_alone", "@@\n@@ -4 +7 @@", {"[@@]", "[@@ -4 +7 @@]"}},
                    PatchCase{"nothing", "", {}}, PatchCase{"no_header", "+a\n-b", {}}),
    [](const auto& info) { return info.param.name; });

struct HeaderCase {
  std::string name;
  std::string line;
  GithubDiffParser::Header starts;
};

class GithubDiffHeaderTest : public testing::TestWithParam<HeaderCase> {};

TEST_P(GithubDiffHeaderTest, hasTheStartsOfBothSides) {
  EXPECT_EQ(GithubDiffParser::parseHeader(GetParam().line), GetParam().starts);
}

INSTANTIATE_TEST_SUITE_P(
    Headers, GithubDiffHeaderTest,
    testing::Values(HeaderCase{"counts", "@@ -10,7 +12,9 @@", {10, 12}}, HeaderCase{"no_counts", "@@ -3 +4 @@", {3, 4}},
                    HeaderCase{"signs_in_the_heading", "@@ -3,1 +4,1 @@ - item -7 +8", {3, 4}},
                    HeaderCase{"nothing_between", "@@ @@", {0, 0}}, HeaderCase{"no_words", "@@-3+4@@", {0, 0}},
                    HeaderCase{"no_numbers", "@@ -,3 +x @@", {0, 0}}, HeaderCase{"two_signs", "@@ --5 ++6 @@", {0, 0}},
                    HeaderCase{
                        "more_than_a_number_holds", "@@ -9223372036854775807,1 +99999999999999999999999999 @@", {0, 0}},
                    HeaderCase{"end_of_the_line", "@@ -3 +4\r", {3, 4}}),
    [](const auto& info) { return info.param.name; });

TEST(GithubDiffParser, takesFilesAsTheirPayloadsSay) {
  const auto payload = [](std::string status, std::optional<std::string> patch) {
    return GithubPullFilePayload{.filename = "new",
                                 .previousFilename = "old",
                                 .status = std::move(status),
                                 .additions = 3,
                                 .deletions = 4,
                                 .patch = std::move(patch)};
  };
  std::vector<std::string> found;
  for (const char* status :
       {"added", "copied", "removed", "renamed", "modified", "changed", "unchanged", "", "Added"}) {
    found.emplace_back(rawValue(GithubDiffParser::fileChange(payload(status, "")).status));
  }
  EXPECT_THAT(found, ElementsAre("added", "added", "removed", "renamed", "modified", "modified", "modified", "modified",
                                 "modified"));

  const std::vector payloads = {payload("renamed", "@@ -1 +1 @@\n-a\n+b"), payload("added", std::nullopt),
                                payload("added", "")};
  const std::vector<GithubFileChange> changes = GithubDiffParser::fileChanges(payloads);
  ASSERT_EQ(changes.size(), 3U);
  EXPECT_EQ(changes[0], (GithubFileChange{.filename = "new",
                                          .previousFilename = "old",
                                          .status = GithubFileStatus::renamed,
                                          .isStaged = false,
                                          .isBinary = false,
                                          .additions = 3,
                                          .deletions = 4,
                                          .hunks = GithubDiffParser::hunks("@@ -1 +1 @@\n-a\n+b")}));
  EXPECT_TRUE(changes[1].isBinary);
  EXPECT_FALSE(changes[2].isBinary) << "an empty patch is one";
  EXPECT_THAT(changes[2].hunks, IsEmpty());
}

TEST(GithubDiffParser, aHunkOutlivesThePatchItWasReadOf) {
  std::string patch = "@@ -1 +1 @@\n-" + std::string(1000, 'a') + "\n+b";
  GithubDiffHunk kept = GithubDiffParser::hunks(patch).front();
  patch.assign(patch.size(), 'x');
  const GithubDiffHunk copy = std::move(kept);
  EXPECT_EQ(copy.lines.front().text, std::string(1000, 'a'));
}

}  // namespace
}  // namespace ravant::test
