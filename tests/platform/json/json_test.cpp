#include "platform/json/json.hpp"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <limits>

namespace ravant::test {
namespace {

TEST(ParseJsonTest, refusesWhatIsNotJson) {
  for (const std::string text : {"", "{", "{} x", "{'a':1}", "{\"a\":1,}", "\"\xFF\"", "\"\\ud800\"", "nul"}) {
    EXPECT_FALSE(parseJson(text)) << text;
    EXPECT_TRUE(findJsonFault(text)) << text;
  }
}

TEST(ParseJsonTest, nestsUpToALimit) {
  const auto nested = [](std::size_t depth) { return std::string(depth, '[') + std::string(depth, ']'); };
  EXPECT_TRUE(parseJson(nested(512)));
  EXPECT_FALSE(parseJson(nested(513)));
  EXPECT_EQ(JsonLineParser().parse(nested(100'000)), nullptr);
}

TEST(JsonLineParserTest, parsesEachLineAnew) {
  JsonLineParser parser;
  const std::string large = "{\"text\":\"" + std::string(1'000'000, 'x') + "\"}";
  for (int round = 0; round < 64; ++round) {
    const auto* object = asObject(parser.parse("{\"n\":1}\r"));
    ASSERT_TRUE(object);
    EXPECT_EQ(integerAt(*object, "n"), 1);
    EXPECT_EQ(parser.parse("{\"n\":"), nullptr);
    const auto* largeObject = asObject(parser.parse(large));
    ASSERT_TRUE(largeObject);
    EXPECT_EQ(stringAt(*largeObject, "text")->size(), 1'000'000u);
  }
}

TEST(JsonLineParserTest, readsHalfASurrogatePairAsReplaced) {
  JsonLineParser parser;
  const auto text = [&](std::string_view line) {
    const json::value* value = parser.parse(line);
    return value ? std::string(value->get_array().at(0).get_string()) : "refused";
  };
  EXPECT_EQ(text(R"(["cut \ud83d"])"), "cut \uFFFD");
  EXPECT_EQ(text(R"(["\uDE00 cut \uD83D\n"])"), "\uFFFD cut \uFFFD\n");
  EXPECT_EQ(text(R"(["\ud83d\ud83d\ude00"])"), "\uFFFD\U0001F600");
  EXPECT_EQ(text(R"(["\\\\ud83d \ud83d"])"), "\\\\ud83d \uFFFD");
  EXPECT_EQ(parser.parse(R"(["\ud8)"), nullptr);
}

class NumberTextTest : public testing::TestWithParam<const char*> {};

TEST_P(NumberTextTest, isKept) {
  const std::string text = GetParam();
  EXPECT_EQ(compactJson(parseJson(text).value()), text);
  const std::string nested = fmt::format(R"({{"a":[{0},{{"b":{0}}}],"c":{0},"d":"{0}"}})", text);
  JsonLineParser parser;
  const json::value* line = parser.parse(nested);
  ASSERT_TRUE(line);
  EXPECT_EQ(compactJson(*line), nested);
  EXPECT_EQ(compactJson(json::value(*line, json::storage_ptr())), nested) << "copied";
}

INSTANTIATE_TEST_SUITE_P(, NumberTextTest,
                         testing::Values("0", "-0", "-0.0", "7", "7.0", "0.1", "1e3", "1E+3", "-1.25e-7", "1e400",
                                         "-1e400", "1e-400", "18446744073709551615", "18446744073709551616",
                                         "-9223372036854775809", "12345678901234567890123456789012345678901234567890",
                                         "9007199254740993.0", "3.14159265358979323846", "123456789012345678.125"));

TEST(JsonAccessTest, takesNumbersWithTextsOfTheirOwnForNumbers) {
  const auto value = parseJson(R"({"a": 1e400, "five": 5.0})");
  const auto& object = value->as_object();
  EXPECT_FALSE(objectAt(object, "a") || stringAt(object, "a") || asObject(object.if_contains("five")));
  EXPECT_EQ(integerAt(object, "five"), 5);
}

TEST(CompactJsonTest, writesShortestNumbersAndRefusesThoseThatJsonDoesNotHave) {
  EXPECT_EQ(compactJson({0.5, 1000.0, 0.1 + 0.2, 7}), "[0.5,1000,0.30000000000000004,7]");
  EXPECT_THROW(compactJson({{"a", std::numeric_limits<double>::infinity()}}), std::domain_error);
}

TEST(JsonAccessTest, givesOnlyMembersOfTheType) {
  const auto value = parseJson(R"({"text": "t", "yes": true, "five": 5.0, "object": {"a": []}, "array": [1]})");
  const auto& object = value->as_object();
  EXPECT_EQ(stringAt(object, "text"), "t");
  EXPECT_EQ(boolAt(object, "yes"), true);
  EXPECT_EQ(integerAt(object, "five"), 5);
  EXPECT_TRUE(arrayAt(*objectAt(object, "object"), "a"));
  EXPECT_FALSE(stringAt(object, "yes") || stringAt(object, "absent"));
  EXPECT_FALSE(boolAt(object, "text") || boolAt(object, "absent"));
  EXPECT_FALSE(integerAt(object, "text") || integerAt(object, "absent"));
  EXPECT_FALSE(objectAt(object, "array") || objectAt(object, "absent"));
  EXPECT_FALSE(arrayAt(object, "object") || arrayAt(object, "absent"));
  EXPECT_FALSE(asObject(nullptr) || asObject(object.if_contains("array")));
}

struct IntegerCase {
  std::string name;
  std::string text;
  std::optional<std::int64_t> expected;
};

class ExactIntegerTest : public testing::TestWithParam<IntegerCase> {};

TEST_P(ExactIntegerTest, takesWholeNumbersOnly) {
  EXPECT_EQ(exactInteger(parseJson(GetParam().text).value()), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(, ExactIntegerTest,
                         testing::ValuesIn(std::vector<IntegerCase>{
                             {"whole", "5", 5},
                             {"pointZero", "5.0", 5},
                             {"minusZero", "-0", 0},
                             {"exponent", "1e3", 1000},
                             {"smallest", "-9223372036854775808", std::numeric_limits<std::int64_t>::min()},
                             {"smallestAsReal", "-9223372036854775808.0", std::numeric_limits<std::int64_t>::min()},
                             {"largest", "9223372036854775807", std::numeric_limits<std::int64_t>::max()},
                             {"beyondLargest", "9223372036854775808", std::nullopt},
                             {"beyondLargestAsReal", "9223372036854775808.0", std::nullopt},
                             {"fraction", "5.5", std::nullopt},
                             {"huge", "1e300", std::nullopt},
                             {"infinite", "1e999", std::nullopt},
                             {"text", "\"12\"", std::nullopt},
                             {"boolean", "true", std::nullopt},
                             {"null", "null", std::nullopt},
                         }),
                         [](const auto& info) { return info.param.name; });

TEST(PrettyJsonTest, keepsOrderAndIndents) {
  const auto value = parseJson(R"({"z": {"b": [1, "x\n"], "a": {}}, "y": [], "\"": null})");
  EXPECT_EQ(prettyJson(*value), R"({
  "z": {
    "b": [
      1,
      "x\n"
    ],
    "a": {}
  },
  "y": [],
  "\"": null
}
)");
}

}  // namespace
}  // namespace ravant::test
