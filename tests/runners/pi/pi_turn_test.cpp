#include "runners/pi/pi_turn.hpp"

#include <fmt/format.h>
#include <gmock/gmock.h>

namespace ravant::test {
namespace {

using namespace turn;
using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;
using Actions = std::vector<Action>;

std::string delta(std::string_view text, std::string_view kind = "text") {
  return fmt::format(
      R"({{"type":"message_update","assistantMessageEvent":{{"type":"{}_delta","contentIndex":1,"delta":"{}"}}}})",
      kind, text);
}

std::string messageEnd(std::string_view content, std::string_view more = "") {
  return fmt::format(R"({{"type":"message_end","message":{{"role":"assistant","content":[{}],"model":"m"{}}}}})",
                     content, more);
}

const std::string kStart = R"({"type":"message_start","message":{"role":"assistant","content":[],"model":"m"}})";
const std::string kAgentStart = R"({"type":"agent_start"})";
const std::string kAgentEnd = R"({"type":"agent_end","messages":[]})";
const std::string kSettled = R"({"type":"agent_settled"})";

AppendAgentMessage shown(const std::string& line, std::string text) {
  return {.rawJSON = line, .text = std::move(text), .agentModel = "m"};
}

struct Lines {
  std::string name;
  std::vector<std::string> lines;
  Actions actions;  ///< of all lines and the end of the command behind them
};

class PiTurnTest : public testing::TestWithParam<Lines> {};

TEST_P(PiTurnTest, actions) {
  PiTurn turn(std::nullopt);
  Actions actions;
  const auto add = [&](Actions more) { std::ranges::move(more, std::back_inserter(actions)); };
  for (const std::string& line : GetParam().lines) add(turn.onLine(line));
  add(turn.onCommandEnd());
  EXPECT_TRUE(actions == GetParam().actions) << actions.size() << " actions";
}

const std::string kHello = messageEnd(R"({"type":"text","text":"Hello"})");
const std::string kBlank = messageEnd(R"({"type":"text","text":" "})", R"(,"stopReason":"error","errorMessage":"cut")");
const std::string kHalfBlank = messageEnd(R"({"type":"text","text":"One"},{"type":"text","text":""})");
const std::string kLong = messageEnd(R"({"type":"text","text":"Long"})", R"(,"stopReason":"length")");
const std::string kUsed =
    messageEnd(R"({"type":"text","text":"Late"})", R"(,"usage":{"input":7,"output":1,"totalTokens":8})");

INSTANTIATE_TEST_SUITE_P(
    Turns, PiTurnTest,
    testing::Values(
        Lines{"growAndAreWhole",
              {kStart, delta("Hel"), delta("lo"), kHello, kSettled},
              {Grow{"Hel", true}, Grow{"lo", false}, shown(kHello, "Hello"), Finish{}}},
        Lines{"keepWhatIsNeverWholeWithItsModel",
              {kStart, delta("Cut o")},
              {Grow{"Cut o", true}, shown(delta("Cut o"), "Cut o")}},
        Lines{"keepWhatHadGrownWhereTheMessageEndsBlank",
              {kStart, delta("Half"), kBlank, kAgentEnd},
              {Grow{"Half", true}, shown(delta("Half"), "Half"), Fail{"cut"}}},
        Lines{"keepWhatHadGrownWhereOneTextOfSeveralEndsBlank",
              {kStart, delta("Two"), kHalfBlank, kSettled},
              {Grow{"Two", true}, shown(kHalfBlank, "One"), shown(delta("Two"), "Two"), Finish{}}},
        Lines{
            "announceWhatIsThought",
            {kStart, delta("I", "thinking"), delta(" think", "thinking"), kHello, delta("More", "thinking"), kSettled},
            {Grow{"I", true, GrowthKind::reasoning}, Grow{" think", false, GrowthKind::reasoning},
             shown(kHello, "Hello"), Grow{"More", true, GrowthKind::reasoning}, Finish{}}},
        Lines{"tellThatTheyAreTriedAgain",
              {R"({"type":"auto_retry_start","attempt":1,"maxAttempts":3,"delayMs":2000,"errorMessage":"500: down"})",
               R"({"type":"auto_retry_start","delayMs":-1})"},
              {Retry{.reason = "500: down, attempt 1 of 3", .after = 2s}, Retry{}}},
        Lines{"failWhereTheModelsLimitCutsThemOff",
              {kLong, kAgentEnd, kSettled},
              {shown(kLong, "Long"), Fail{.text = "the agent stopped: the model's limit of tokens was reached (length)",
                                          .cause = FailureCause::limit}}},
        Lines{"goOnAfterAnEndThatAStartFollows",
              {kHello, kAgentEnd, kAgentStart, delta("And")},
              {shown(kHello, "Hello"), Grow{"And", true}, shown(delta("And"), "And")}},
        Lines{"countWhatIsSaidBehindTheirEnd",
              {kSettled, kUsed},
              {Finish{}, shown(kUsed, "Late"),
               ApplyUsage{
                   .providerMessageId = std::nullopt,
                   .snapshot = {.inputTokens = 7, .outputTokens = 1, .usedTokens = 8, .totalProcessedTokens = 8}}}}),
    [](const auto& info) { return info.param.name; });

TEST(PiTurnTest, onlyTheComplaintAboutASessionIsOne) {
  const PiTurn turn("gone");
  EXPECT_TRUE(turn.isSessionUnknown("No session found matching 'gone'\n"));
  EXPECT_FALSE(turn.isSessionUnknown("No model found matching 'gone'\n"));
}

}  // namespace
}  // namespace ravant::test
