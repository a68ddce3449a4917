#include "platform/text/letter.hpp"

#include <gtest/gtest.h>

#include "platform/text/case_folding.hpp"
#include "platform/text/utf8.hpp"

namespace ravant::test {
namespace {

struct LetterRow {
  const char* name;
  char32_t character;
  char32_t base;
  LetterKind kind;
};

void PrintTo(const LetterRow& row, std::ostream* out) { *out << row.name; }

class LetterOf : public testing::TestWithParam<LetterRow> {};

TEST_P(LetterOf, is) {
  const Letter letter = letterOf(GetParam().character);
  EXPECT_EQ(letter.base, GetParam().base);
  EXPECT_EQ(letter.kind, GetParam().kind);
}

using enum LetterKind;
INSTANTIATE_TEST_SUITE_P(
    Characters, LetterOf,
    testing::Values(LetterRow{"ascii", U'Q', U'q', upper}, LetterRow{"digit", U'7', U'7', letter},
                    LetterRow{"acute", U'É', U'e', upper}, LetterRow{"twoAccents", U'ộ', U'o', letter},
                    LetterRow{"stroke", U'Ł', U'l', upper}, LetterRow{"sharpS", U'ß', U'ß', letter},
                    LetterRow{"dottedI", U'İ', U'i', upper}, LetterRow{"titleCase", U'ǅ', U'ǆ', upper},
                    LetterRow{"kelvin", U'\u212A', U'k', upper}, LetterRow{"finalSigma", U'ς', U'σ', letter},
                    LetterRow{"oldGreek", U'ᾯ', U'ω', upper}, LetterRow{"yo", U'Ё', U'е', upper},
                    LetterRow{"shortI", U'й', U'и', letter}, LetterRow{"hamza", U'أ', U'ا', letter},
                    LetterRow{"accentItself", U'\u0301', U'\u0301', mark},
                    LetterRow{"variationSelector", U'\uFE0F', U'\uFE0F', mark},
                    LetterRow{"softHyphen", U'\u00AD', U'\u00AD', mark},
                    LetterRow{"vowelSign", U'\u093F', U'\u093F', letter}, LetterRow{"han", U'索', U'索', ideograph},
                    LetterRow{"hangul", U'검', U'검', ideograph}, LetterRow{"voicedKana", U'が', U'が', ideograph},
                    LetterRow{"prolongedKana", U'ー', U'ー', ideograph},
                    LetterRow{"narrowKana", U'ｶ', U'カ', ideograph}, LetterRow{"wideLatin", U'Ａ', U'a', upper},
                    LetterRow{"thai", U'ก', U'ก', ideograph}, LetterRow{"thaiVowel", U'\u0E34', U'\u0E34', ideograph},
                    LetterRow{"noBreakSpace", U'\u00A0', U' ', blank}, LetterRow{"zeroWidth", U'\u200B', U' ', blank},
                    LetterRow{"notEqual", U'≠', U'≠', symbol}, LetterRow{"superscript", U'²', U'²', symbol},
                    LetterRow{"wideStop", U'。', U'。', symbol}, LetterRow{"emoji", U'😀', U'😀', symbol},
                    LetterRow{"icon", U'\uE0A0', U'\uE0A0', symbol},
                    LetterRow{"beyondUnicode", 0x1FFFFF, 0x1FFFFF, symbol}),
    [](const auto& row) { return row.param.name; });

TEST(LetterOfAll, IsItsOwnBase) {
  for (char32_t character = 0; character <= 0x10FFFF; ++character) {
    const Letter letter = letterOf(character);
    const Letter base = letterOf(letter.base);
    const bool isCapital = letter.kind == upper;
    if (base.base != letter.base || (base.kind != letter.kind && !isCapital) ||
        base.kind == mark != (letter.kind == mark))
      ADD_FAILURE() << "U+" << std::hex << static_cast<unsigned>(character);
  }
}

TEST(FoldCase, KeepsEachCharacterOne) {
  EXPECT_EQ(foldCase("ÀΣς ẞßKİı𐐀 z"), "àσσ ßßkii𐐨 z");
  for (const char32_t character : {U'\x7F', U'\x80', U'\u07FF', U'\u0800', U'\uFFFD', U'\U00010000', U'\U0010FFFF'}) {
    std::string text = "a";
    appendUtf8(text, character);
    EXPECT_TRUE(isValidUtf8(text));
    EXPECT_EQ(characterAt(text, 1).code, character);
    EXPECT_EQ(characterAt(text, 1).size, text.size() - 1);
  }
  EXPECT_EQ(characterAt("\xE4\xBD", 0).code, U'\uFFFD');
}

}  // namespace
}  // namespace ravant::test
