#include <fmt/format.h>
#include <gmock/gmock.h>

#include <random>
#include <regex>

#include "desktop/text/markdown_blocks.hpp"
#include "desktop/text/parser_input.hpp"
#include "tests/desktop/text/html_checker.hpp"

namespace ravant::test {
namespace {

using desktop::MarkdownBlockKind;
using desktop::markdownBlocks;

/// What is kept and shown of a text, per byte of it: an address of three letters costs the most, for it becomes a link.
constexpr std::size_t kMostWeight = 11;

std::string repeated(std::string_view part, std::size_t size) {
  std::string text;
  while (text.size() < size) text += part;
  return text;
}

std::string withoutBlanks(std::string text) {
  std::erase_if(text, [](char byte) { return byte == ' ' || byte == '\t' || byte == '\n' || byte == '\r'; });
  return text;
}

TEST(HostileMarkdown, staysHarmlessAndSmall) {
  constexpr std::size_t kSize = 50'000;
  std::vector<std::string> texts;
  for (const std::string_view part : {"a",
                                      "[",
                                      "]",
                                      "![",
                                      "[a](",
                                      "[a](b)",
                                      "[a](<b",
                                      "[a][b]",
                                      "*",
                                      "**a *b ",
                                      "*_~ `",
                                      "`a``",
                                      ">",
                                      "> ",
                                      "- ",
                                      "1) ",
                                      "- > 2. ",
                                      "|",
                                      "|a",
                                      "https://a.",
                                      "https://a.b/(",
                                      "a@b.c@",
                                      "a://",
                                      "&",
                                      "&#1;",
                                      "<",
                                      "<a:",
                                      "<!--",
                                      "\\",
                                      " ",
                                      "\t",
                                      "\n",
                                      "\r",
                                      "---\n",
                                      "a\n=\n",
                                      "- a\n",
                                      "[a]: x\n",
                                      "[a](b)\n",
                                      "[x](\n",
                                      "a|b\n-|-\n\n",
                                      "- [ ] a\n",
                                      "> a\nb\n",
                                      "a.c ",
                                      "`a.c` ",
                                      "\u202E",
                                      "\x1b[",
                                      "\xff",
                                      "\"",
                                      "a/",
                                      "* *\n"}) {
    texts.push_back(repeated(part, kSize));
  }
  texts.push_back(std::string(kSize, '\0'));
  texts.push_back(repeated("[", kSize) + repeated("a\n", kSize) + repeated("]", kSize));
  texts.push_back(repeated("- ", kSize) + "a\n" + repeated("\n", kSize) + "b");
  texts.push_back(repeated("|a", kSize) + "\n" + repeated("|-", kSize) + "\n" + repeated("x\n", kSize));
  texts.push_back(repeated("a\n\n", kSize) + repeated("\n", kSize));
  texts.push_back("[a]: " + std::string(kSize, 'x') + "\n\n" + repeated("[a]", kSize));
  for (const std::string& text : texts) {
    const auto blocks = markdownBlocks(text);
    EXPECT_EQ(complaintAbout(blocks), "") << text.substr(0, 20);
    EXPECT_LE(weightOf(blocks), kMostWeight * text.size()) << text.substr(0, 20);
  }
}

TEST(HostileMarkdown, isShownAsWrittenFromTheBlockOnThatSaysTooMuch) {
  const std::string amplified = "[a]: " + std::string(10'000, 'x') + "\n\n" + repeated("[a]", 30'000);
  const auto blocks = markdownBlocks("# b\n\nc\n\n" + amplified + "\n\nd");
  ASSERT_EQ(blocks.size(), 3U);
  EXPECT_EQ(blocks[1].source, "c");
  EXPECT_EQ(blocks[2].kind, MarkdownBlockKind::written);
  EXPECT_EQ(blocks[2].source, amplified + "\n\nd");
}

TEST(HostileMarkdown, hasTablesOfUpTo128Columns) {
  const auto table = [](int columns) {
    std::string text = "a\n\n";
    for (const std::string_view cell : {"|x", "|-", "|1"}) {
      for (int i = 0; i < columns; ++i) text += cell;
      text += "|\n";
    }
    return text;
  };
  EXPECT_EQ(markdownBlocks(table(128)).at(1).kind, MarkdownBlockKind::table);
  for (const int columns : {129, 500}) {
    const auto blocks = markdownBlocks(table(columns));
    ASSERT_EQ(blocks.size(), 2U);
    EXPECT_EQ(blocks[1].kind, MarkdownBlockKind::written);
    EXPECT_EQ("a\n\n" + blocks[1].source + "\n", table(columns));
  }
}

TEST(ParserInput, hasNothingThatTakesLong) {
  const auto input = [](const std::string& text) { return desktop::ParserInput(text).text(); };
  const std::string links = repeated("[a](b)\n", 7 * 1000);
  EXPECT_EQ(input(links), links);
  const std::string many = repeated("[a](b)\n", 7 * 2000);
  EXPECT_EQ(input(links + "\n" + many + " \r\n[c](d)"), links + "\n" + repeated("(a((b)\n", 7 * 2000) + " \r\n[c](d)");
  EXPECT_EQ(input(repeated("> ", 204) + "a"), repeated("> ", 200) + "( ( a");
  EXPECT_EQ(input(std::string(200, '-')), std::string(200, '-'));
  // It is shown as it was written all the same.
  EXPECT_THAT(markdownBlocks(many).at(0).html, testing::StartsWith("[a](b) [a](b)"));
}

TEST(ParserInput, hasTheDashesAndCellsThatAreAskedFor) {
  const auto input = [](const std::string& text) { return desktop::ParserInput(text).text(); };
  EXPECT_EQ(input("|-|:-:|--:|\n -|----\n--\n- | -\nx|-"), "|---|:---:|---:|\n ---|----\n--\n- | -\nx|-");
  EXPECT_EQ(input("||a|||b||\nc || d"), "| |a| | |b| |\nc || d");
}

TEST(ParserInput, knowsWhereItsBytesAreFrom) {
  const desktop::ParserInput input("|a|b|\n> |:-|--|\n-|-\nc - d | -\n- | -");
  EXPECT_EQ(input.text(), "|a|b|\n> |:---|---|\n---|---\nc - d | -\n- | -");
  const auto before = [&](std::string_view part) { return input.original(input.text().find(part)); };
  EXPECT_EQ(before("> "), 6U);
  EXPECT_EQ(before("-|---|"), 11U);
  EXPECT_EQ(before("|---|\n"), 11U);
  EXPECT_EQ(before("c -"), 20U);
  EXPECT_EQ(input.original(input.text().size()), 35U);
}

/// Random Markdown of `parts`, with numbered words in it.
std::string randomMarkdown(std::mt19937& random, const std::vector<std::string>& parts, int& words) {
  std::string text;
  const int size = std::uniform_int_distribution(1, 60)(random);
  for (int i = 0; i < size; ++i) {
    const std::size_t part = std::uniform_int_distribution<std::size_t>(0, parts.size())(random);
    text += part < parts.size() ? parts[part] : fmt::format("w{}w", words++);
  }
  return text;
}

TEST(RandomMarkdown, staysHarmless) {
  const std::vector<std::string> parts{"*",
                                       "**",
                                       "_",
                                       "~~",
                                       "`",
                                       "``",
                                       "```\n",
                                       "[",
                                       "]",
                                       "](",
                                       "](https://a.b)",
                                       "![",
                                       ")",
                                       "(",
                                       "<",
                                       ">",
                                       "> ",
                                       "- ",
                                       "1. ",
                                       "7) ",
                                       "#",
                                       "# ",
                                       "|",
                                       "|-|-|\n",
                                       "---",
                                       "\n",
                                       "\n",
                                       "\n\n",
                                       "  ",
                                       "    ",
                                       "\t",
                                       "\\",
                                       "&",
                                       "&#34;",
                                       "&lt;",
                                       "\"",
                                       "'",
                                       "[a]: b\n",
                                       "[x] ",
                                       "https://a.b/",
                                       "javascript:",
                                       "a@b.cd",
                                       "src/a.cpp:3",
                                       "\x1b",
                                       "\u202E",
                                       "\r\n",
                                       "<b>",
                                       "onclick=\"",
                                       std::string(1, '\0')};
  std::mt19937 random(20);  // NOLINT(bugprone-random-generator-seed): the same texts in every run
  for (int i = 0; i < 2000; ++i) {
    int words = 0;
    const std::string text = randomMarkdown(random, parts, words);
    const auto blocks = markdownBlocks(text);
    ASSERT_EQ(complaintAbout(blocks), "") << text;
    ASSERT_EQ(markdownBlocks(text), blocks) << text;
  }
}

TEST(RandomMarkdown, losesNoWordAndNoLine) {
  // Nothing that names a target or is cut from a table: there words may be left out.
  const std::vector<std::string> parts{"*",   "**",  "_",  " ~~", " ` ",  "> ",  ">",  "- ",   "- - - - - - ",
                                       "3. ", "1. ", "# ", "=",   "---",  "\n",  "\n", "\n\n", " ",
                                       "  ",  "<",   "&",  "\\",  "[x] ", "\r\n"};
  std::mt19937 random(21);  // NOLINT(bugprone-random-generator-seed): the same texts in every run
  for (int i = 0; i < 2000; ++i) {
    int words = 0;
    const std::string text = randomMarkdown(random, parts, words);
    const auto blocks = markdownBlocks(text);
    std::string said;
    bool hasCode = false;
    for (const auto& block : blocks) {
      said += plainText(block);
      hasCode |= block.kind == MarkdownBlockKind::code;
    }
    for (int word = 0; word < words; ++word) ASSERT_TRUE(said.contains(fmt::format("w{}w", word))) << text;
    if (!hasCode) ASSERT_EQ(withoutBlanks(sourcesOf(blocks)), withoutBlanks(text)) << text;
  }
}

TEST(RandomMarkdown, hasTheWordsOfABlockInItsSource) {
  const std::vector<std::string> parts{"\n\n", "\n\n", "\n", "- ", "> ", "# ", "---\n",      "[n]",
                                       "![](", "[](",  ")",  "<",  ">",  "*",  "|a|\n|-|\n", "\n\n[n]: b\n\n"};
  const std::regex word("w[0-9]+w");
  std::mt19937 random(22);  // NOLINT(bugprone-random-generator-seed): the same texts in every run
  for (int i = 0; i < 2000; ++i) {
    int words = 0;
    const std::string text = randomMarkdown(random, parts, words);
    for (const auto& block : markdownBlocks(text)) {
      const std::string said = plainText(block);
      for (std::sregex_iterator found(said.begin(), said.end(), word), end; found != end; ++found) {
        ASSERT_TRUE(block.source.contains(found->str())) << text << "\nhas in a block of its own: " << block.source;
      }
    }
  }
}

}  // namespace
}  // namespace ravant::test
