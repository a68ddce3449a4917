#include "cli/output/terminal_text.hpp"

#include <gtest/gtest.h>

#include "cli/output/transcript_text.hpp"

namespace ravant::cli {
namespace {

const Style kPlain(Style::Colours::off);

struct WidthCase {
  const char* name;
  const char* text;
  std::size_t width;
  const char* cutToFour;
};

class DisplayWidth : public testing::TestWithParam<WidthCase> {};

TEST_P(DisplayWidth, CountsColumns) {
  EXPECT_EQ(displayWidth(GetParam().text), GetParam().width);
  EXPECT_EQ(cutToWidth(GetParam().text, 4), GetParam().cutToFour);
}

INSTANTIATE_TEST_SUITE_P(Texts, DisplayWidth,
                         testing::Values(WidthCase{"empty", "", 0, ""}, WidthCase{"fits", "abcd", 4, "abcd"},
                                         WidthCase{"ascii", "abcdef", 6, "abc…"},
                                         WidthCase{"umlauts", "äöüßé", 5, "äöü…"},
                                         WidthCase{"combining", "a\u0301bcd", 4, "a\u0301bcd"},
                                         WidthCase{"wide", "漢字表", 6, "漢…"}),
                         [](const auto& test) { return std::string(test.param.name); });

TEST(ShownPath, IsAsGitShowsIt) {
  for (const auto& [path, shown] :
       std::vector<std::pair<std::string, std::string>>{{"src/größe 1.txt", "src/größe 1.txt"},
                                                        {" a", "\" a\""},
                                                        {"a\tb\n", R"("a\tb\n")"},
                                                        {R"(q"\)", R"("q\"\\")"},
                                                        {"e\x1b[2J", R"("e\033[2J")"},
                                                        {"caf\xe9", R"("caf\351")"},
                                                        {"\xe4\xb8", R"("\344\270")"},
                                                        {"\u202Ex", R"(\u{202E}x)"}}) {
    EXPECT_EQ(shownPath(path), shown);
  }
}

TEST(Table, AlignsWhateverIsInside) {
  Table table({"NAME", "N", "TITLE"});
  table.add({"漢字", "1", "one\n\x1b[2Jline"});
  table.add({"é", "", "two"});
  EXPECT_EQ(table.text(kPlain),
            "NAME  N  TITLE\n"
            "漢字  1  one ␛[2Jline\n"
            "é        two\n");
}

TEST(Table, CutsItsWidestColumnsButNotWhatIsTyped) {
  Table table({"NAME", "PATH", "ID"}, {2});
  table.add({"claude", "/home/ada/.local/bin/claude", "3419c0de"});
  EXPECT_EQ(table.text(Style(Style::Colours::off, 34)),
            "NAME    PATH              ID\n"
            "claude  /home/ada/.loca…  3419c0de\n");
  EXPECT_EQ(table.text(Style(Style::Colours::off, 20)),
            "NAME  claude\n"
            "PATH  /home/ada/.local/bin/claude\n"
            "ID    3419c0de\n");
}

TEST(TranscriptText, ShortensTheOutputOfToolsWhileARunIsFollowed) {
  ToolInvocation invocation{};
  invocation.toolName = "Bash";
  invocation.input = R"({"command":"seq 9","timeout":5})";
  invocation.output = "1\n2\n3\n4\n5\n6\n7\n8\n9\n";
  invocation.status = ToolInvocationStatus::failed;
  EXPECT_EQ(startedText(invocation, kPlain), "• Bash seq 9\n");
  EXPECT_EQ(endedText(invocation, kPlain, ToolOutput::firstLines),
            "  ✗ Bash\n    1\n    2\n    3\n    4\n    5\n    6\n    … 3 more lines\n");
  EXPECT_TRUE(endedText(invocation, kPlain, ToolOutput::complete).ends_with("    8\n    9\n"));
}

TEST(TranscriptText, SaysHowAPromptEndedThatDidNotFinish) {
  using namespace std::chrono_literals;
  const auto textOf = [](std::optional<PromptOutcome> outcome, std::chrono::microseconds after) {
    const ConversationItem prompt{.detail = UserMessage{.endReason = outcome, .endedAt = Timestamp(after)}};
    return endText(prompt, kPlain);
  };
  EXPECT_EQ(textOf({}, 5s), "");
  EXPECT_EQ(textOf(PromptOutcome::finished, 5s), "");
  EXPECT_EQ(textOf(PromptOutcome::cancelled, 59'999ms), "── cancelled after 59 s ──\n");
  EXPECT_EQ(textOf(PromptOutcome::limit, 62s), "── cut off by a limit after 1:02 min ──\n");
  EXPECT_EQ(textOf(PromptOutcome::interrupted, 2h + 5s), "── interrupted after 2:00:05 h ──\n");
}

}  // namespace
}  // namespace ravant::cli
