#include <gmock/gmock.h>

#include "runners/codex/codex_wire.hpp"
#include "runners/cursor/acp_wire.hpp"
#include "runners/pi/pi_models.hpp"

namespace ravant::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

json::object object(const std::string& text) { return json::parse(text).as_object(); }

TEST(ModelListings, ofPiAreReadByTheirHeadings) {
  const std::string listing =
      "Warning: something\n"
      "provider   model                  context  max-out  thinking  images\n"
      "anthropic  claude-haiku-latest    200K     8.2K     no        yes   \n"
      "my         odd/name:free          1.5M     ?        yes       no\n"
      "a line of another shape\n";
  EXPECT_THAT(parsePiModels(listing), ElementsAre(ProbedModel{.slug = "anthropic/claude-haiku-latest",
                                                              .displayName = "claude-haiku-latest",
                                                              .contextWindowOptions = {"200000"},
                                                              .defaultContextWindow = "200000"},
                                                  ProbedModel{.slug = "my/odd/name:free",
                                                              .displayName = "odd/name:free",
                                                              .supportsThinking = true,
                                                              .contextWindowOptions = {"1500000"},
                                                              .defaultContextWindow = "1500000"}));
  EXPECT_THAT(parsePiModels("No models available. Set an API key.\n"), IsEmpty());
}

TEST(ModelListings, ofCodexLeaveOutWhatIsHidden) {
  const json::object page = object(R"({"data":[
    {"id":"a","model":"gpt-a","displayName":"GPT A","hidden":false,"defaultReasoningEffort":"low",
     "supportedReasoningEfforts":[{"reasoningEffort":"low"},{"reasoningEffort":"xhigh"}],
     "additionalSpeedTiers":["fast"]},
    {"id":"b","hidden":true},{"id":"c"},7],"nextCursor":"2"})");
  EXPECT_THAT(codex::modelsOf(page), ElementsAre(ProbedModel{.slug = "gpt-a",
                                                             .displayName = "GPT A",
                                                             .efforts = {"low", "xhigh"},
                                                             .defaultEffort = "low",
                                                             .supportsThinking = true,
                                                             .supportsFastMode = true},
                                                 ProbedModel{.slug = "c", .displayName = "c"}));
  EXPECT_EQ(codex::nextCursor(page), "2");
  EXPECT_EQ(codex::nextCursor(object(R"({"data":[],"nextCursor":null})")), std::nullopt);
}

TEST(ModelListings, ofASessionAreThoseOfItsModelOption) {
  const auto options = acp::configOptions(object(R"({"configOptions":[
    {"id":"mode","category":"mode","options":[{"value":"agent","name":"Agent"}]},
    {"id":"llm","category":"model","currentValue":"b","options":[
      {"group":"p","name":"P","options":[{"value":"p/a","name":"A"}]},{"value":"b"}]},
    {"id":"x","category":"thought_level","options":[{"value":"low","name":"Low"}]}]})"));
  EXPECT_THAT(acp::modelsOf(options.value()),
              ElementsAre(ProbedModel{.slug = "b", .displayName = "b", .efforts = {"low"}, .supportsThinking = true},
                          ProbedModel{.slug = "p/a", .displayName = "A", .efforts = {"low"}, .supportsThinking = true}))
      << "the first is the default";
  EXPECT_EQ(acp::configOptions(object("{}")), std::nullopt);
}

}  // namespace
}  // namespace ravant::test
