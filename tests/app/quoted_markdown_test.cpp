#include "app/transfer/quoted_markdown.hpp"

#include <gtest/gtest.h>

namespace ravant::test {
namespace {

struct Case {
  const char* name;
  const char* written;
  const char* quoted;
};

class QuotedMarkdown : public testing::TestWithParam<Case> {};

TEST_P(QuotedMarkdown, staysWhatItIs) { EXPECT_EQ(quotedMarkdown(GetParam().written), GetParam().quoted); }

std::string nameOf(const testing::TestParamInfo<Case>& row) { return row.param.name; }

INSTANTIATE_TEST_SUITE_P(
    Code, QuotedMarkdown,
    testing::Values(Case{"aFenceInALongerOne", "So:\n````md\n```c\na<b>();\n```\n````\nbye <b>",
                         "> So:\n\n> ````md\n> ```c\n> a<b>();\n> ```\n> ````\n\n> bye &lt;b>\n"},
                    Case{"anOpenFence", "~~~\n```\n<b>", "> ````\n> ```\n> <b>\n> ````\n"},
                    Case{"indentedLines", "So:\n\n    a<b> ![x](y)\n\n\t\tc<d>\n\nbye",
                         "> So:\n\n>     a<b> ![x](y)\n> \n>     \tc<d>\n\n> bye\n"},
                    Case{"indentedLinesAtTheBeginning", "\n    a<b>\n  so", ">     a<b>\n\n>   so\n"},
                    Case{"noneThatGoesOnWithAParagraph", "a\n    <b>", "> a\n>     &lt;b>\n"},
                    Case{"noneInAnItem", "- a\n\n    <b>\n\n1) x\nlazy\n\n\t<b>\n\nx\n\n    <b>",
                         "> - a\n> \n>     &lt;b>\n> \n> 1) x\n> lazy\n> \n>     &lt;b>\n> \n> x\n\n>     <b>\n"},
                    Case{"noneBehindAQuote", "> a\n    <b>", "> > a\n>     &lt;b>\n"}),
    nameOf);

INSTANTIATE_TEST_SUITE_P(Spans, QuotedMarkdown,
                         testing::Values(Case{"whole", "a `vector<int>` and <b>", "> a `vector<int>` and &lt;b>\n"},
                                         Case{"ofTwo", "`` ` <b> ``", "> `` ` <b> ``\n"},
                                         Case{"withAPipe", "`|x| <b>` | y", "> `|x| <b>` | y\n"},
                                         Case{"overLines", "` open\nclose ` <b> `\n\n`<b>`",
                                              "> ` open\n> close ` &lt;b> `\n> \n> `<b>`\n"},
                                         Case{"escaped", "\\`<b>`", "> \\`&lt;b>`\n"},
                                         Case{"inATable", "| a | b |\n|---|---|\n| ` | <b> | ` |",
                                              "> | a | b |\n> |---|---|\n> | ` | &lt;b> | ` |\n"}),
                         nameOf);

INSTANTIATE_TEST_SUITE_P(
    Prose, QuotedMarkdown,
    testing::Values(
        Case{"markup", "# A\n\n* *b* **c** 1 < 2 [d](e/f.md#g \"h: i\")\n  * x<3 && y",
             "> # A\n> \n> * *b* **c** 1 < 2 [d](e/f.md#g \"h: i\")\n>   * x<3 && y\n"},
        Case{"tags", "</details> <!-- <?x \\<b> \\\\<b>", "> &lt;/details> &lt;!-- &lt;?x &lt;b> \\\\&lt;b>\n"},
        Case{"addresses", "<https://x.test/?a=b> <me@x.test> <javascript:a()> <a href=\"https://x\">",
             "> <https://x.test/?a=b> <me@x.test> &lt;javascript:a()> &lt;a href=\"https://x\">\n"},
        Case{"images", "![a](https://x/y.png) [![b](c/d)](e) ![f\ng](h/) vec![1]",
             "> &#33;[a](https://x/y.png) [&#33;[b](c/d)](e) &#33;[f\n> g](h/) vec![1]\n"},
        Case{"links",
             "[a](JavaScript:b) [a](<java&#115;cript:b>) [a](\njavascript:b) [a](data:c) [a](HTTPS://d) [a](mailto:e)",
             "> [a]&#40;JavaScript:b) [a]&#40;&lt;java&#115;cript:b>) [a]&#40;\n> javascript:b) [a]&#40;data:c) "
             "[a](HTTPS://d) [a](mailto:e)\n"},
        Case{"definitions", "\\[^1] [^1]: x\n- [a]: https://x `[^b]:`",
             "> &#91;^1] &#91;^1]&#58; x\n> - [a]&#58; https://x `[^b]:`\n"},
        Case{"itsFirstIndent", " \n  - a\n  - b\n\n", ">   - a\n>   - b\n"}, Case{"nothing", " \n\t\n", ""}),
    nameOf);

}  // namespace
}  // namespace ravant::test
