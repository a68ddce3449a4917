#include "desktop/text/markdown_blocks.hpp"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <gmock/gmock.h>

#include "tests/desktop/text/html_checker.hpp"

namespace ravant::test {
namespace {

using desktop::MarkdownBlock;
using desktop::MarkdownBlockKind;
using desktop::markdownBlocks;
using testing::ElementsAre;
using testing::ElementsAreArray;

std::string shown(const desktop::MarkdownTable& table) {
  std::string text;
  for (const auto alignment : table.alignments) text += "<^>"[static_cast<int>(alignment)];
  text += fmt::format(" {}", fmt::join(table.header, "|"));
  for (const auto& row : table.rows) text += fmt::format(" / {}", fmt::join(row, "|"));
  return text;
}

/// `prose: HTML`, `heading 2: HTML`, `code cpp: SOURCE`, `table <^>: a|b|c / 1|2|3`.
std::string shown(const MarkdownBlock& block) {
  switch (block.kind) {
    case MarkdownBlockKind::prose:
      return "prose: " + block.html;
    case MarkdownBlockKind::heading:
      return fmt::format("heading {}: {}", block.level, block.html);
    case MarkdownBlockKind::list:
      return "list: " + block.html;
    case MarkdownBlockKind::quotation:
      return "quotation: " + block.html;
    case MarkdownBlockKind::code:
      return fmt::format("code {}{}: {}", block.language.value_or("-"), block.file ? " of " + *block.file : "",
                         block.source);
    case MarkdownBlockKind::table:
      return "table " + shown(*block.table);
    case MarkdownBlockKind::rule:
      return "rule";
    case MarkdownBlockKind::written:
      return "written: " + block.source;
  }
  return {};
}

std::vector<std::string> shown(const std::vector<MarkdownBlock>& blocks) {
  std::vector<std::string> lines;
  for (const MarkdownBlock& block : blocks) lines.push_back(shown(block));
  return lines;
}

struct BlocksRow {
  std::string_view name;
  std::string_view markdown;
  std::vector<std::string> blocks;
};

class MarkdownBlocks : public testing::TestWithParam<BlocksRow> {};

TEST_P(MarkdownBlocks, areWhatTheTextSays) {
  const auto blocks = markdownBlocks(GetParam().markdown);
  EXPECT_THAT(shown(blocks), ElementsAreArray(GetParam().blocks));
  EXPECT_EQ(complaintAbout(blocks), "");
}

INSTANTIATE_TEST_SUITE_P(
    Kinds, MarkdownBlocks,
    testing::Values(
        BlocksRow{"nothing", " \n\n", {}},
        BlocksRow{"marks",
                  "*a* **b** ~~c~~ `d < e`  \nf\ng",
                  {"prose: <i>a</i> <b>b</b> <s>c</s> <code>d &lt; e</code><br>f g"}},
        BlocksRow{
            "headings", "# A\n\nB *b*\n---\n\n###### C", {"heading 1: A", "heading 2: B <i>b</i>", "heading 6: C"}},
        BlocksRow{"nestedList",
                  "- a\n  - b\n\n    c\n- d",
                  {"list: <ul><li>a<ul><li><p>b</p><p>c</p></li></ul></li><li>d</li></ul>"}},
        BlocksRow{"tasks",
                  "- [ ] a\n- [x] **b**\n\n\n* [X] c\n\n  d",
                  {"list: <ul><div class=\"task\">☐ a</div><div class=\"task\">☑ <b>b</b></div></ul>",
                   "list: <ul><div class=\"task\">☑ c<p>d</p></div></ul>"}},
        BlocksRow{"tasksWithNumbers",
                  "3. [ ] a\n4. [x] b\n\n---\n\n1. [x] c\n\n   d",
                  {"list: 3. ☐ a<br>4. ☑ b", "rule", "list: <ol><li>☑ c<p>d</p></li></ol>"}},
        BlocksRow{"numbersAreKept",
                  "1. a\n2. b\n\n---\n\n3. c\n4. d\n\n   e",
                  {"list: <ol><li>a</li><li>b</li></ol>", "rule", "list: 3. c<br>4. d<br>e"}},
        BlocksRow{"codeInAList",
                  "- a\n  ```cpp\n  if (a < b)\n    c;\n  ```",
                  {"list: <ul><li>a<pre>if (a &lt; b)\n  c;</pre></li></ul>"}},
        BlocksRow{"tableInAList", "- |a|b|\n  |-|-|\n  |1|2|", {"list: <ul><li><pre>a | b\n1 | 2</pre></li></ul>"}},
        BlocksRow{"quotation",
                  "> a\nb\n> > # c\n> ---\n> - d",
                  {"quotation: <p>a b</p><blockquote><h1>c</h1></blockquote><p>———</p><ul><li>d</li></ul>"}},
        BlocksRow{"fences",
                  "```c++ x.cpp\r\n\r\na\t\"\r\n```\r\n~~~\n```\n~~~\n\n    in\n\n    dented",
                  {"code c++ of x.cpp: \na\t\"", "code -: ```", "code -: in\n\ndented"}},
        BlocksRow{"tabsOfCode",
                  "```\n\ta\tb\n \t\tc\n```\n ```\n\td\n  e\n ```\n\n\tf\n\t\tg\n  \t  \th",
                  {"code -: \ta\tb\n \t\tc", "code -:    d\n e", "code -: f\n\tg\n  \th"}},
        BlocksRow{"filesOfCode",
                  "```ts:src/a.ts\n```\n```py title=\"b.py\"\n```\n```12:15:core/store/a.cpp\n```\n"
                  "```Dockerfile\n```\n```{.python .numberLines}\n```\n```rust,ignore\n```\n```a&amp;b/c.rs\n```",
                  {"code ts:src/a.ts of src/a.ts: ", "code py of b.py: ", "code core/store/a.cpp of core/store/a.cpp: ",
                   "code Dockerfile: ", "code {.python: ", "code rust,ignore: ", "code a&b/c.rs of a&b/c.rs: "}},
        BlocksRow{"unfinishedFence", "a\n```py\nprint(", {"prose: a", "code py: print("}},
        BlocksRow{"fenceJustBegun", "```", {"code -: "}},
        BlocksRow{"table",
                  "| a | b | *c* |\n|:-|:-:|-:|\n| 1 | `x\\|y` |\n| 2 | 3 | 4 | 5 |",
                  {"table <^> a|b|<i>c</i> / 1|<code>x|y</code>| / 2|3|4"}},
        BlocksRow{"numbersStandRight",
                  "|a|b|c|d|e|f|\n|-|-|-|:-|-|-|\n|1|1.5 ms|x|1|-|**3**|\n|-2,000|$ 3|1|2||40 %|",
                  {"table >><<<> a|b|c|d|e|f / 1|1.5 ms|x|1|-|<b>3</b> / -2,000|$ 3|1|2||40 %"}},
        BlocksRow{"rawHtmlIsText",
                  "<b onclick=x>a</b>\n\n<script>alert(1)</script>\n\n<!-- c -->",
                  {"prose: &lt;b onclick=x&gt;a&lt;/b&gt;", "prose: &lt;script&gt;alert(1)&lt;/script&gt;",
                   "prose: &lt;!-- c --&gt;"}},
        BlocksRow{"entities",
                  "&lt;b&gt; &amp;amp; &mdash; &#x202e; &#0; &#9999999; &nope;",
                  {"prose: &lt;b&gt; &amp;amp; — \\u{202E} \uFFFD \uFFFD &amp;nope;"}},
        BlocksRow{"steeringCharacters",
                  "a\u202Eb \x1b[31m `\u2066c` d\u200f\x7f\u009b",
                  {"prose: a\\u{202E}b ␛[31m <code>\\u{2066}c</code> d\\u{200F}␡\\u{009B}"}},
        // The parser closes what it has not opened.
        BlocksRow{"marksInTargets", "![](**w&)*", {"prose: **w&amp;"}},
        BlocksRow{"onlyDefinitions", "[a]: https://example.com", {"written: [a]: https://example.com"}},
        BlocksRow{
            "nul", std::string_view("a\0b\n\n```\nc\0\0d\n```", 17), {"prose: a␀b", std::string("code -: c\0\0d", 12)}},
        BlocksRow{"invalidUtf8", "a\xFF\n\n```\n\xC3\n```", {"prose: a\uFFFD", "code -: \uFFFD"}}),
    [](const auto& row) { return std::string(row.param.name); });

INSTANTIATE_TEST_SUITE_P(
    Links, MarkdownBlocks,
    testing::Values(
        BlocksRow{"web",
                  "[a *b*](https://example.com/?x=1&y=\"2\" \"t\") <HTTP://e.org/é>",
                  {"prose: <a href=\"https://example.com/?x=1&amp;y=%222%22\">a <i>b</i></a> "
                   "<a href=\"http://e.org/%C3%A9\">HTTP://e.org/é</a>"}},
        BlocksRow{"webInAngles",
                  "[a](<https://example.com/b c\\>> 't')",
                  {"prose: <a href=\"https://example.com/b%20c%3E\">a</a>"}},
        BlocksRow{"byReference",
                  "[a][1]\n\n[1]: https://example.com/\u202E",
                  {"prose: <a href=\"https://example.com/%E2%80%AE\">a</a>"}},
        BlocksRow{
            "bare",
            "See https://example.com/a_b_c(d), **https://e.org**. ada@example.com!",
            {"prose: See <a href=\"https://example.com/a_b_c(d)\">https://example.com/a_b_c(d)</a>, <b><a "
             "href=\"https://e.org\">https://e.org</a></b>. <a href=\"mailto:ada@example.com\">ada@example.com</a>!"}},
        BlocksRow{"refused",
                  "[a](javascript:alert(1)) [b](data:text/html,x) [c](file:///etc/passwd) [d](&#106;avascript:x) "
                  "[e](//e.org) ftp://e.org/x [f](#g) [h](vbscript:1)",
                  {"prose: a b c d e ftp://e.org/x f h"}},
        BlocksRow{"mailIsNotFilledIn",
                  "<mailto:a@b.c?attach=/etc/passwd>",
                  {"prose: <a href=\"mailto:a@b.c\">mailto:a@b.c?attach=/etc/passwd</a>"}},
        BlocksRow{"images",
                  "![a](https://e.org/i.png) ![b](./i.png) ![](data:x) ![c](mailto:a@b.c) "
                  "[![d](https://e.org/d)](https://e.org)",
                  {"prose: <a href=\"https://e.org/i.png\">a</a> b data:x c <a href=\"https://e.org\">d</a>"}},
        BlocksRow{
            "withoutWords",
            "[](https://e.org) ![](https://e.org/i)",
            {"prose: <a href=\"https://e.org\">https://e.org</a> <a href=\"https://e.org/i\">https://e.org/i</a>"}},
        BlocksRow{"files",
                  "`src/a.cpp:12` and [b](src/b.ts#L3) in docs/c.md; `x`",
                  {"prose: <code><a href=\"file-reference:src/a.cpp:12\">src/a.cpp:12</a></code> and <a "
                   "href=\"file-reference:src/b.ts:3\">b</a> "
                   "in <a href=\"file-reference:docs/c.md\">docs/c.md</a>; <code>x</code>"}},
        BlocksRow{"oneLinkOnly",
                  "[see src/a.cpp:1 and https://e.org](https://e.com)",
                  {"prose: <a href=\"https://e.com\">see src/a.cpp:1 and https://e.org</a>"}}),
    [](const auto& row) { return std::string(row.param.name); });

struct SourcesRow {
  std::string_view name;
  std::string_view markdown;
  std::vector<std::string> sources;
};

class MarkdownSources : public testing::TestWithParam<SourcesRow> {};

TEST_P(MarkdownSources, areWhatWasWritten) {
  std::vector<std::string> sources;
  for (const MarkdownBlock& block : markdownBlocks(GetParam().markdown)) sources.push_back(block.source);
  EXPECT_THAT(sources, ElementsAreArray(GetParam().sources));
}

INSTANTIATE_TEST_SUITE_P(
    Table, MarkdownSources,
    testing::Values(
        SourcesRow{"marks", "\n*a*\r\n**b**\n\n# c #\nd\n===\ne\n", {"*a*\r\n**b**", "# c #", "d\n===", "e"}},
        SourcesRow{"withoutText",
                   "***\n#\n-\n\n> \n\n![](x)\n- - -\n```\n```\nend",
                   {"***", "#", "-", "> ", "![](x)", "- - -", "", "end"}},
        SourcesRow{"aroundCode",
                   "a\n```\nb\n\n```\nc\n~~~\nd\n~~~\n# e\n\n    f\n\ng",
                   {"a", "b\n", "c", "d", "# e", "f", "g"}},
        SourcesRow{"lists",
                   "- a\n- \n1. b\n   ```\n   c\n\n   ```\nd\n\n* e\n\n  f\n+ g",
                   {"- a\n- ", "1. b\n   ```\n   c\n\n   ```", "d", "* e\n\n  f", "+ g"}},
        SourcesRow{
            "quotations", "> a\n> ```\n> b\n> ```\n>\nc\n\n> d\ne", {"> a\n> ```\n> b\n> ```\n>", "c", "> d\ne"}},
        SourcesRow{"tables", "|a|\n|-|\n\nb|c\n-|-\n||\n\nd", {"|a|\n|-|", "b|c\n-|-\n||", "d"}},
        SourcesRow{"definitions", "[a]\n\n[a]: b\nc [a]\n\n[d]: e", {"[a]", "[a]: b\nc [a]\n\n[d]: e"}},
        SourcesRow{"targets",
                   "a\n\n[b]: c\n\nd\n\n![](\n<e>)\n![](f)\n\n[b] [g]\n\n---\nh\n\n[g]: i",
                   {"a", "[b]: c\n\nd", "![](\n<e>)\n![](f)", "[b] [g]", "---", "h\n\n[g]: i"}}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(PlainTextOfBlocks, hasTheWordsWithoutTheMarks) {
  std::vector<std::string> said;
  for (const MarkdownBlock& block : markdownBlocks(
           "**a** `<b>` & c  \nd\n\n- [x] e\n  > f\n\n|g|h|\n|-|-|\n|1|*2*|\n\n---\n\n```\ni\x1b <j>\n```")) {
    said.push_back(plainText(block));
  }
  EXPECT_THAT(said, ElementsAre("a <b> & c\nd", "☑ e\nf", "g, h\n1, 2", "", "i␛ <j>"));
}

TEST(GrowingMarkdown, changesOnlyItsLastBlocks) {
  const std::string whole = "# a\n\nb *c* d\n\n- e\n- f\n\n```cpp\nint g;\n```\n\nh";
  const auto last = markdownBlocks(whole);
  for (std::size_t size = 0; size < whole.size(); ++size) {
    const auto blocks = markdownBlocks(std::string_view(whole).substr(0, size));
    ASSERT_LE(blocks.size(), last.size()) << size;
    for (std::size_t i = 0; i + 1 < blocks.size(); ++i) EXPECT_EQ(blocks[i], last[i]) << size;
  }
}

}  // namespace
}  // namespace ravant::test
