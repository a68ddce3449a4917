#include "core/token_usage_snapshot.hpp"

#include <gmock/gmock.h>

#include "platform/json/json.hpp"

namespace ravant::test {
namespace {

using Snapshot = std::optional<TokenUsageSnapshot>;

struct UsageCase {
  const char* name;
  const char* json;
  Snapshot expected;
  std::optional<std::int64_t> window = {};
};

std::ostream& operator<<(std::ostream& out, const UsageCase& row) { return out << row.name; }

std::string nameOf(const testing::TestParamInfo<UsageCase>& row) { return row.param.name; }

json::object parsed(const char* text) { return parseJson(text).value().as_object(); }

class ClaudeUsage : public testing::TestWithParam<UsageCase> {};

TEST_P(ClaudeUsage, becomesASnapshot) {
  EXPECT_EQ(TokenUsageSnapshot::fromClaudeUsage(parsed(GetParam().json), GetParam().window), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    Reports, ClaudeUsage,
    testing::Values(
        UsageCase{"nothingReported", R"({"output_tokens":0})", {}},
        UsageCase{"inputOnly", R"({"input_tokens":5})",
                  TokenUsageSnapshot{.inputTokens = 5, .usedTokens = 5, .totalProcessedTokens = 5}},
        UsageCase{"textIsNoNumber", R"({"input_tokens":"12","output_tokens":null})", {}},
        UsageCase{
            "cacheCountsAsInput",
            R"({"input_tokens":1,"cache_creation_input_tokens":20,"cache_read_input_tokens":300,"output_tokens":4000})",
            TokenUsageSnapshot{.inputTokens = 321,
                               .outputTokens = 4000,
                               .cacheReadTokens = 300,
                               .cacheCreationTokens = 20,
                               .usedTokens = 4321,
                               .totalProcessedTokens = 4321}},
        UsageCase{"fillNeverExceedsTheWindow", R"({"input_tokens":150000,"cache_read_input_tokens":100000})",
                  TokenUsageSnapshot{.inputTokens = 250'000,
                                     .cacheReadTokens = 100'000,
                                     .usedTokens = 200'000,
                                     .totalProcessedTokens = 250'000,
                                     .maxTokens = 200'000},
                  200'000},
        UsageCase{"windowOfNothing", R"({"input_tokens":9})",
                  TokenUsageSnapshot{.inputTokens = 9, .usedTokens = 9, .totalProcessedTokens = 9}, 0},
        UsageCase{"reportedTotalWins", R"({"input_tokens":9.0,"total_tokens":1e2})",
                  TokenUsageSnapshot{.inputTokens = 9, .usedTokens = 100, .totalProcessedTokens = 100}}),
    nameOf);

class CodexUsage : public testing::TestWithParam<UsageCase> {};

TEST_P(CodexUsage, becomesASnapshot) {
  EXPECT_EQ(TokenUsageSnapshot::fromCodexTokenUsage(parsed(GetParam().json)), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    Reports, CodexUsage,
    testing::Values(
        UsageCase{"totalsWithoutALastTurn", R"({"total":{"totalTokens":7}})", {}},
        UsageCase{
            "camelCaseBeforeSnakeCase",
            R"({"last":{"inputTokens":10,"input_tokens":99,"cachedInputTokens":4,"outputTokens":3,"totalTokens":13},
                      "total":{"totalTokens":50},"modelContextWindow":12})",
            TokenUsageSnapshot{.inputTokens = 6,
                               .outputTokens = 3,
                               .cacheReadTokens = 4,
                               .usedTokens = 12,
                               .totalProcessedTokens = 50,
                               .maxTokens = 12}},
        UsageCase{
            "moreCachedThanInputInsideAPayload",
            R"({"payload":{"info":{"last_token_usage":{"input_tokens":2,"cached_input_tokens":5,"output_tokens":1}}}})",
            TokenUsageSnapshot{.outputTokens = 1, .cacheReadTokens = 5, .usedTokens = 3, .totalProcessedTokens = 3}}),
    nameOf);

class PiUsage : public testing::TestWithParam<UsageCase> {};

TEST_P(PiUsage, becomesASnapshot) {
  EXPECT_EQ(TokenUsageSnapshot::fromPiUsage(parsed(GetParam().json)), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(Reports, PiUsage,
                         testing::Values(UsageCase{"errorReport", R"({"input":0,"output":0,"totalTokens":0})", {}},
                                         UsageCase{
                                             "sumAndReportedTotal",
                                             R"({"input":1,"output":2,"cacheRead":3,"cacheWrite":4,"totalTokens":8})",
                                             TokenUsageSnapshot{.inputTokens = 1,
                                                                .outputTokens = 2,
                                                                .cacheReadTokens = 3,
                                                                .cacheCreationTokens = 4,
                                                                .usedTokens = 8,
                                                                .totalProcessedTokens = 10}}),
                         nameOf);

class ChatCompletionsUsage : public testing::TestWithParam<UsageCase> {};

TEST_P(ChatCompletionsUsage, becomesASnapshot) {
  EXPECT_EQ(TokenUsageSnapshot::usageSnapshot(parsed(GetParam().json), GetParam().window), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(Reports, ChatCompletionsUsage,
                         testing::Values(UsageCase{"nothingReported", R"({})", {}},
                                         UsageCase{"sumWithoutATotal", R"({"prompt_tokens":7,"completion_tokens":2})",
                                                   TokenUsageSnapshot{.inputTokens = 7,
                                                                      .outputTokens = 2,
                                                                      .usedTokens = 9,
                                                                      .totalProcessedTokens = 9,
                                                                      .maxTokens = 100},
                                                   100}),
                         nameOf);

TEST(ClaudeContextWindow, isTheLargestPositiveOne) {
  const auto window = [](const char* text) {
    const auto value = parseJson(text);
    return TokenUsageSnapshot::claudeContextWindow(&*value);
  };
  EXPECT_EQ(window(R"({"a":{"contextWindow":200000},"b":{"contextWindow":1000000}})"), 1'000'000);
  EXPECT_EQ(window(R"({"a":{"contextWindow":0},"b":{}})"), std::nullopt);
  EXPECT_EQ(window(R"({"a":{"contextWindow":5},"b":7})"), std::nullopt);
  EXPECT_EQ(window(R"({"a":{"contextWindow":5},"b":7.5})"), std::nullopt);
  EXPECT_EQ(window("[]"), std::nullopt);
  EXPECT_EQ(TokenUsageSnapshot::claudeContextWindow(nullptr), std::nullopt);
}

struct AbsurdCase {
  const char* name;
  std::optional<TokenUsageSnapshot> (*read)(const json::object& usage);
  const char* json;
};

std::ostream& operator<<(std::ostream& out, const AbsurdCase& row) { return out << row.name; }

std::optional<TokenUsageSnapshot> claude(const json::object& usage) {
  return TokenUsageSnapshot::fromClaudeUsage(usage, {});
}
std::optional<TokenUsageSnapshot> chat(const json::object& usage) {
  return TokenUsageSnapshot::usageSnapshot(usage, {});
}

class AbsurdUsage : public testing::TestWithParam<AbsurdCase> {};

TEST_P(AbsurdUsage, isDropped) { EXPECT_EQ(GetParam().read(parsed(GetParam().json)), std::nullopt); }

INSTANTIATE_TEST_SUITE_P(
    Reports, AbsurdUsage,
    testing::Values(
        AbsurdCase{"claudeSum", claude, R"({"input_tokens":9223372036854775807,"output_tokens":1})"},
        AbsurdCase{"claudeNegative", claude, R"({"input_tokens":10,"cache_read_input_tokens":-3})"},
        AbsurdCase{"claudeNegativeTotal", claude, R"({"input_tokens":10,"total_tokens":-1})"},
        AbsurdCase{"codexSum", TokenUsageSnapshot::fromCodexTokenUsage,
                   R"({"last":{"inputTokens":9223372036854775807,"outputTokens":1}})"},
        AbsurdCase{"codexDifference", TokenUsageSnapshot::fromCodexTokenUsage,
                   R"({"last":{"inputTokens":5,"cachedInputTokens":-9223372036854775807}})"},
        AbsurdCase{"codexNegativeRunningTotal", TokenUsageSnapshot::fromCodexTokenUsage,
                   R"({"last":{"inputTokens":5},"total":{"totalTokens":-7}})"},
        AbsurdCase{"piSum", TokenUsageSnapshot::fromPiUsage, R"({"input":9223372036854775807,"cacheWrite":1})"},
        AbsurdCase{"piNegative", TokenUsageSnapshot::fromPiUsage, R"({"input":1,"output":-1,"totalTokens":4})"},
        AbsurdCase{"chatSum", chat, R"({"prompt_tokens":9223372036854775807,"completion_tokens":1})"},
        AbsurdCase{"chatNegative", chat, R"({"prompt_tokens":-1,"completion_tokens":3})"}),
    [](const auto& row) { return std::string(row.param.name); });

}  // namespace
}  // namespace ravant::test
