#include "core/message_segmenter.hpp"

#include <gmock/gmock.h>

namespace ravant::test {
namespace {

struct SegmentCase {
  const char* name;
  const char* text;
  std::vector<MessageBlock> expected;
};

std::ostream& operator<<(std::ostream& out, const SegmentCase& row) { return out << row.name; }

MessageBlock prose(std::int64_t index, std::string text) {
  return {.text = std::move(text), .language = {}, .index = index, .kind = MessageBlockKind::prose};
}

MessageBlock code(std::int64_t index, std::optional<std::string> language, std::string text) {
  return {.text = std::move(text), .language = std::move(language), .index = index, .kind = MessageBlockKind::code};
}

class Segments : public testing::TestWithParam<SegmentCase> {};

TEST_P(Segments, areProseAndCode) { EXPECT_EQ(MessageSegmenter::segments(GetParam().text), GetParam().expected); }

INSTANTIATE_TEST_SUITE_P(
    Texts, Segments,
    testing::Values(
        SegmentCase{"nothing", "", {}}, SegmentCase{"blankLinesOnly", " \n\t\n", {}},
        SegmentCase{"proseKeepsItsInnerBlankLines", "\n \na\n\nb\n\t\n", {prose(0, "a\n\nb")}},
        SegmentCase{"proseCodeProse",
                    "before\n\n```cpp title=x\nint a;\n\n  b\n \n```\n\nafter",
                    {prose(0, "before"), code(1, "cpp", "int a;\n\n  b"), prose(2, "after")}},
        SegmentCase{"codeWithoutALanguage", "```\nx\n```", {code(0, {}, "x")}},
        SegmentCase{"emptyCode", "```sh\n```", {code(0, "sh", "")}},
        SegmentCase{"tildesAroundBackticks", "~~~ md\n```\ninner\n```\n~~~", {code(0, "md", "```\ninner\n```")}},
        SegmentCase{"longFenceAroundShortOnes", "````\n```sh\nx\n```\n````", {code(0, {}, "```sh\nx\n```")}},
        SegmentCase{"closingFenceMayBeLonger", "```\nx\n`````  \ny", {code(0, {}, "x"), prose(1, "y")}},
        SegmentCase{"fenceWithTextClosesNothing", "```\nx\n``` y\n```", {code(0, {}, "x\n``` y")}},
        SegmentCase{"threeSpacesOfIndent", "   ```py\n   a\n     b\n c\n  ```", {code(0, "py", "a\n  b\nc")}},
        SegmentCase{"fourSpacesAreNoFence", "    ```\na", {prose(0, "    ```\na")}},
        SegmentCase{"inlineCodeIsNoFence", "```not a fence``` here", {prose(0, "```not a fence``` here")}},
        SegmentCase{"unclosedFence", "a\n```js\nb\n\n", {prose(0, "a"), code(1, "js", "b")}},
        SegmentCase{
            "windowsLineBreaks", "a\r\n```c\r\nx\r\n```\r\nb\r\n", {prose(0, "a"), code(1, "c", "x"), prose(2, "b")}},
        SegmentCase{"twoBackticksAreNoFence", "``\nx\n``", {prose(0, "``\nx\n``")}}),
    [](const auto& row) { return row.param.name; });

}  // namespace
}  // namespace ravant::test
