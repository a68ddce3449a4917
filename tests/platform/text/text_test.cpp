#include "platform/text/text.hpp"

#include <gtest/gtest.h>

#include <set>

#include "platform/text/utf8.hpp"
#include "platform/text/uuid.hpp"

namespace ravant::test {
namespace {

using std::string_literals::operator""s;

struct TextCase {
  std::string name;
  std::string input;
  std::string expected;
};

std::string nameOf(const testing::TestParamInfo<TextCase>& info) { return info.param.name; }

class RepairUtf8Test : public testing::TestWithParam<TextCase> {};

TEST_P(RepairUtf8Test, replacesEachMaximalIllFormedPart) {
  const auto& [name, input, expected] = GetParam();
  EXPECT_EQ(isValidUtf8(input), input == expected);
  for (std::size_t padding = 0; padding < 9; ++padding) {
    const std::string ascii(padding, 'x');
    EXPECT_EQ(repairUtf8(ascii + input + ascii), ascii + expected + ascii) << "padding " << padding;
  }
}

INSTANTIATE_TEST_SUITE_P(, RepairUtf8Test,
                         testing::ValuesIn(std::vector<TextCase>{
                             {"valid", "a\0é€😀\U0010FFFF\uFFFD"s, "a\0é€😀\U0010FFFF\uFFFD"s},
                             {"limits", "\u0080\u07FF\u0800\uD7FF\uE000\U00010000",
                              "\u0080\u07FF\u0800\uD7FF\uE000\U00010000"},
                             {"standardExample",
                              "a\xF1\x80\x80\xE1\x80\xC2"
                              "b\x80"
                              "c\x80\xBF"
                              "d",
                              "a���b�c��d"},
                             {"overlongSlash", "\xC0\xAF", "��"},
                             {"overlongThree", "\xE0\x80\xAF", "���"},
                             {"surrogate", "\xED\xA0\x80", "���"},
                             {"beyondUnicode", "\xF4\x90\x80\x80\xF5\xFF", "������"},
                             {"cutFour", "\xF0\x9F\x98", "�"},
                         }),
                         nameOf);

TEST(Utf8PrefixTest, neverCutsACharacter) {
  const std::string_view text = "aé😀";
  const std::vector<std::string_view> expected{"", "a", "a", "aé", "aé", "aé", "aé", "aé😀", "aé😀"};
  for (std::size_t size = 0; size < expected.size(); ++size) EXPECT_EQ(utf8Prefix(text, size), expected[size]) << size;
}

class TerminalSafeTest : public testing::TestWithParam<TextCase> {};

TEST_P(TerminalSafeTest, showsWhatWouldAct) { EXPECT_EQ(terminalSafe(GetParam().input), GetParam().expected); }

TEST(TerminalSafeJsonTest, escapesWhatWouldAct) {
  EXPECT_EQ(terminalSafeJson("{\"é\u007F\":\"\u009B2J \u2028\u2029\u202E \u2066\u200F\u061C €…😀\u00A0\u2027\u202F\"}"),
            R"({"é\u007f":"\u009b2J \u2028\u2029\u202e \u2066\u200f\u061c €…😀)"
            "\u00A0\u2027\u202F\"}");
  EXPECT_EQ(terminalSafeJson(""), "");
}

INSTANTIATE_TEST_SUITE_P(, TerminalSafeTest,
                         testing::ValuesIn(std::vector<TextCase>{
                             {"plain", "a\tb\nç 漢 😀", "a\tb\nç 漢 😀"},
                             {"escapeSequence", "\x1B]0;title\a\x1B[2J", "␛]0;title␇␛[2J"},
                             {"carriageReturnAndNul", "safe\rfake\0\x7F"s, "safe␍fake␀␡"},
                             {"eightBitControls", "\u009B31m\u0085", "\\u{009B}31m\\u{0085}"},
                             {"rawEightBitControl",
                              "\x9B"
                              "31m",
                              "�31m"},
                             {"directionOverrides", "\u202Eexe\u2066\u2069", "\\u{202E}exe\\u{2066}\\u{2069}"},
                         }),
                         nameOf);

class Base64Test : public testing::TestWithParam<TextCase> {};

TEST_P(Base64Test, isPaddedAndReadBack) {
  EXPECT_EQ(base64(GetParam().input), GetParam().expected);
  EXPECT_EQ(bytesOfBase64(GetParam().expected), GetParam().input);
}
TEST(Base64, hasOneSpellingForTheSameBytes) {
  for (const char* other : {"Zg=", "Zh==", "Zg==Zg==", "Z===", "Zg\n=", "Z-8="})
    EXPECT_EQ(bytesOfBase64(other), std::nullopt) << other;
}

INSTANTIATE_TEST_SUITE_P(, Base64Test,
                         testing::ValuesIn(std::vector<TextCase>{
                             {"empty", "", ""},
                             {"one", "f", "Zg=="},
                             {"two", "fo", "Zm8="},
                             {"three", "foo", "Zm9v"},
                             {"six", "foobar", "Zm9vYmFy"},
                             {"everyBit", "\0\xFF\xFB\xEF\xBE"s, "AP/7774="},
                         }),
                         nameOf);

TEST(TrimmedTest, keepsInnerSpace) {
  EXPECT_EQ(trimmed("\r\n\t a  b \v\f\n"), "a  b");
  EXPECT_EQ(trimmed(" \n"), "");
}

TEST(UuidTest, readsEitherCaseAndWritesBoth) {
  const auto uuid = Uuid::parse("01234567-89AB-cdef-FEDC-ba9876543210");
  ASSERT_TRUE(uuid);
  EXPECT_EQ(uuid->text(), "01234567-89ab-cdef-fedc-ba9876543210");
  EXPECT_EQ(uuid->upperText(), "01234567-89AB-CDEF-FEDC-BA9876543210");
  EXPECT_EQ(Uuid(uuid->bytes()), *uuid);
  EXPECT_LT(Uuid(), *uuid);
}

TEST(UuidTest, refusesOtherTexts) {
  for (const auto* text : {"", "0123456789abcdeffedcba9876543210", "01234567-89ab-cdef-fedc-ba987654321",
                           "01234567-89ab-cdef-fedc-ba98765432100", "0123456-789ab-cdef-fedc-ba9876543210",
                           "01234567-89ab-cdef-fedc-ba987654321g", "{1234567-89ab-cdef-fedc-ba987654321}"}) {
    EXPECT_FALSE(Uuid::parse(text)) << text;
  }
}

TEST(UuidTest, randomOnesAreVersionFourAndDiffer) {
  std::set<Uuid> seen;
  for (int i = 0; i < 1000; ++i) {
    const Uuid uuid = Uuid::random();
    EXPECT_EQ(uuid.text()[14], '4');
    EXPECT_TRUE("89ab"s.contains(uuid.text()[19])) << uuid.text();
    seen.insert(uuid);
  }
  EXPECT_EQ(seen.size(), 1000u);
}

}  // namespace
}  // namespace ravant::test
