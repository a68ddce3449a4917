#include "cli/output/run_output.hpp"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "cli/output/printed_since.hpp"
#include "cli/output/terminal_text.hpp"
#include "platform/files/private_file.hpp"
#include "tests/support/manual_clock.hpp"
#include "tests/support/pseudo_terminal.hpp"
#include "tests/support/temporary_folder.hpp"

namespace ravant::cli {
namespace {

using namespace std::chrono_literals;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;

constexpr Timestamp kStart{std::chrono::sys_days{std::chrono::year{2026} / 11 / 21}};

ToolInvocation invocation(ToolInvocationStatus status) {
  return {.id = ToolInvocationId(7),
          .toolName = "Bash",
          .toolCallId = "c",
          .input = "make",
          .output = "one\ntwo",
          .status = status};
}

ConversationItem message(std::string text) {
  return {.id = ConversationItemId(3), .text = std::move(text), .detail = AgentMessage()};
}

/// What a run leaves in a file.
class RunText : public testing::Test {
 protected:
  std::unique_ptr<RunOutput> make(OutputFormat format) { return RunOutput::make(format, output, clock); }
  std::string written() const { return readFile(folder / "written").value(); }

  test::TemporaryFolder folder;
  test::ManualClock clock{kStart};
  UniqueFd file{::open((folder / "written").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600)};
  Output output{file.get(), Style(Style::Colours::off)};
};

TEST_F(RunText, aLineBreakThatDeltasCutIsNoMark) {
  const auto text = make(OutputFormat::text);
  text->growth({.text = "one\r", .isNewMessage = true});
  text->growth({.text = "\ntwo\rthree"});
  text->growth({.text = "\r"});
  text->growth({.text = "\nfour\r"});
  text->item(message("one\r\ntwo\rthree\r\nfour\r\n"));
  EXPECT_EQ(written(), "\none\ntwo␍three\nfour\n");
}

TEST_F(RunText, aMessageThatWasGivenUpForTheNextIsShownOnce) {
  const auto text = make(OutputFormat::text);
  text->growth({.text = "Broken o", .isNewMessage = true});
  text->growth({.text = "\n\nThe ", .isNewMessage = true});
  text->item(message("Broken o"));
  text->growth({.text = "end"});
  text->item(message("The end."));
  text->item(message("The end."));
  EXPECT_EQ(written(), "\nBroken o\n\nThe end.\n\nThe end.\n");
}

TEST_F(RunText, whatOnlyATerminalShowsIsLeftOut) {
  const auto text = make(OutputFormat::text);
  text->state({.kind = RunState::Kind::thinking, .since = kStart});
  text->growth({.text = "Hm.", .isNewMessage = true, .kind = GrowthKind::reasoning});
  text->invocation(invocation(ToolInvocationStatus::running));
  text->toolOutput(ToolInvocationId(7), "three\n");
  text->tick();
  text->invocation(invocation(ToolInvocationStatus::completed));
  text->finished(PromptEndReason::finished);
  EXPECT_EQ(written(), "• Bash make\n  ✓ Bash\n    one\n    two\n\n");
}

TEST_F(RunText, statesAndOutputsAreEvents) {
  const auto events = make(OutputFormat::json);
  events->state({.kind = RunState::Kind::waitingForShell, .since = kStart});
  events->state({.kind = RunState::Kind::retrying, .since = kStart, .reason = "overloaded", .until = kStart + 5s});
  events->state({.kind = RunState::Kind::retrying, .since = kStart});
  events->state({.kind = RunState::Kind::runningTool, .since = kStart, .invocation = ToolInvocationId(7)});
  events->toolOutput(ToolInvocationId(7), "three\n");
  events->growth({.text = "Hm.", .isNewMessage = true, .kind = GrowthKind::reasoning});
  events->tick();
  EXPECT_EQ(written(),
            R"({"event":"state","state":"waitingForShell"})"
            "\n"
            R"({"event":"state","state":"retrying","reason":"overloaded","until":"2026-11-21T00:00:05.000000Z"})"
            "\n"
            R"({"event":"state","state":"retrying","reason":""})"
            "\n"
            R"({"event":"state","state":"runningTool","invocation":"7"})"
            "\n"
            R"({"event":"output","invocation":"7","text":"three\n"})"
            "\n");
}

/// What a run shows on a terminal of 40 columns.
class RunOnTerminal : public testing::Test {
 protected:
  RunOnTerminal() { ::setenv("TERM", "xterm", 1); }

  std::string screen() {
    written += terminal.read();
    return test::screenOf(written);
  }

  test::PseudoTerminal terminal{40};
  test::ManualClock clock{kStart};
  Output output{terminal.device(), Style(Style::Colours::on)};
  std::unique_ptr<RunOutput> text = RunOutput::make(OutputFormat::text, output, clock);
  std::string written;
};

TEST_F(RunOnTerminal, theLastLineSaysWhatTheRunDoes) {
  text->state({.kind = RunState::Kind::waitingForShell, .since = kStart});
  EXPECT_EQ(screen(), "… waiting for the shell, 0 s");
  text->state({.kind = RunState::Kind::thinking, .since = kStart});
  clock.advance(65s);
  text->tick();
  EXPECT_EQ(screen(), "… thinking, 1:05 min");
  clock.advance(500ms);
  text->growth({.text = "First.\nThen \x1b[2J", .isNewMessage = true, .kind = GrowthKind::reasoning});
  EXPECT_EQ(screen(), "… thinking, 1:05 min: Then ␛[2J");
  text->growth({.text = "Or", .isNewMessage = true, .kind = GrowthKind::reasoning});
  text->tick();
  EXPECT_EQ(screen(), "… thinking, 1:05 min: Or");
  text->invocation(invocation(ToolInvocationStatus::running));
  text->state({.kind = RunState::Kind::runningTool, .since = clock.now(), .invocation = ToolInvocationId(7)});
  EXPECT_EQ(screen(), "• Bash make\n… running Bash, 0 s");
  clock.advance(1s);
  text->toolOutput(ToolInvocationId(7), "compiling a\ncompiling b\n");
  text->toolOutput(ToolInvocationId(7), "and another line that is longer than the terminal");
  text->tick();
  EXPECT_THAT(screen(), EndsWith("\n… running Bash, 1 s: and another line …"));
  EXPECT_LT(displayWidth(screen().substr(screen().rfind('\n') + 1)), 40U);
  text->state({.kind = RunState::Kind::retrying, .since = clock.now(), .reason = "429", .until = clock.now() + 12s});
  EXPECT_THAT(screen(), EndsWith("\n… trying again in 12 s (429), 0 s"));
  clock.advance(15s);
  text->tick();
  EXPECT_THAT(screen(), EndsWith("\n… thinking, 3 s"));
}

TEST_F(RunOnTerminal, theLineMakesRoomAndIsGoneAtTheEnd) {
  text->state({.kind = RunState::Kind::thinking, .since = kStart});
  text->growth({.text = "Once upon ", .isNewMessage = true});
  text->tick();
  text->state({.kind = RunState::Kind::runningTool, .since = kStart, .invocation = ToolInvocationId(7)});
  text->toolOutput(ToolInvocationId(7), "x");
  EXPECT_EQ(screen(), "\nOnce upon ");
  text->growth({.text = "a time"});
  text->item(message("Once upon a time."));
  EXPECT_EQ(screen(), "\nOnce upon a time.\n… running a tool, 0 s: x");
  text->item(message("The end."));
  EXPECT_EQ(screen(), "\nOnce upon a time.\n\nThe end.\n… running a tool, 0 s: x");
  text->finished(PromptEndReason::cancelled);
  EXPECT_EQ(screen(), "\nOnce upon a time.\n\nThe end.\n\ncancelled\n");
}

TEST_F(RunOnTerminal, aFloodOfOutputIsShownNowAndThen) {
  text->state({.kind = RunState::Kind::runningTool, .since = kStart, .invocation = ToolInvocationId(7)});
  for (int i = 0; i < 1'000; ++i) text->toolOutput(ToolInvocationId(7), "line\n");
  screen();
  EXPECT_LT(written.size(), 200U);
}

struct PrintedCase {
  const char* name;
  std::string before;
  std::string now;
  std::string printed;
};

class PrintedSince : public testing::TestWithParam<PrintedCase> {};

TEST_P(PrintedSince, IsWhatCameAtTheEnd) {
  EXPECT_EQ(printedSince(GetParam().before, GetParam().now), GetParam().printed);
}

INSTANTIATE_TEST_SUITE_P(
    Outputs, PrintedSince,
    testing::Values(PrintedCase{"first", "", "one\n", "one\n"}, PrintedCase{"longer", "one\n", "one\ntwo\n", "two\n"},
                    PrintedCase{"same", "one\n", "one\n", ""}, PrintedCase{"emptied", "one\n", "", ""},
                    PrintedCase{"window_that_moves", "line 1\nline 2 is longer\nline 3\n",
                                "line 2 is longer\nline 3\nline 4\n", "line 4\n"},
                    PrintedCase{"window_of_equal_lines", "a" + std::string(40, 'y'), std::string(40, 'y') + "z", "z"},
                    PrintedCase{"other_words", "10 %", "%20", "%20"},
                    PrintedCase{"all_new", "first output, quite long", "second output, as long",
                                "second output, as long"}),
    [](const auto& test) { return std::string(test.param.name); });

}  // namespace
}  // namespace ravant::cli
