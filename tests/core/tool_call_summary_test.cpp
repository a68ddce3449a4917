#include "core/tool_call_summary.hpp"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include "core/line_changes.hpp"
#include "platform/text/utf8.hpp"

namespace ravant::test {
namespace {

constexpr const char* kProject = "/home/user/project";
constexpr auto kRunning = ToolInvocationStatus::running;
constexpr auto kCompleted = ToolInvocationStatus::completed;
constexpr auto kFailed = ToolInvocationStatus::failed;

ToolInvocation call(std::string name, std::string input, std::string output = {},
                    ToolInvocationStatus status = kCompleted) {
  return {.toolName = std::move(name), .input = std::move(input), .output = std::move(output), .status = status};
}

std::string acpRecord(std::string_view kind) {
  return fmt::format(
      R"({{"method":"session/update","params":{{"update":{{"sessionUpdate":"tool_call","kind":"{}"}}}}}})", kind);
}

struct SummaryCase {
  const char* name;
  ToolInvocation invocation;
  ToolCallKind kind;
  const char* words;  ///< verb, subject and result, parted by bars
};

std::ostream& operator<<(std::ostream& out, const SummaryCase& row) { return out << row.name; }

class ToolCallSummaryTest : public testing::TestWithParam<SummaryCase> {};

TEST_P(ToolCallSummaryTest, isOfTheAgentsOwnTools) {
  const ToolCallSummary summary = toolCallSummary(GetParam().invocation, kProject);
  EXPECT_EQ(summary.kind, GetParam().kind);
  EXPECT_EQ(fmt::format("{}|{}|{}", summary.verb, summary.subject, summary.result.value_or("")), GetParam().words);
}

ToolInvocation acp(std::string title, std::string_view kind, std::string input) {
  ToolInvocation invocation = call(std::move(title), std::move(input));
  invocation.rawJSON = acpRecord(kind);
  return invocation;
}

INSTANTIATE_TEST_SUITE_P(
    , ToolCallSummaryTest,
    testing::Values(
        SummaryCase{"claudeEdit",
                    call("Edit", R"({"replace_all":false,"file_path":"/home/user/project/core/a.cpp",)"
                                 R"("old_string":"a\nb\nc","new_string":"a\nB\nc\nd"})"),
                    ToolCallKind::edit, "Edit|core/a.cpp|+2 −1"},
        SummaryCase{"claudeEditEverywhere",
                    call("Edit", R"({"replace_all":true,"file_path":"a","old_string":"a","new_string":"b"})"),
                    ToolCallKind::edit, "Edit|a|"},
        SummaryCase{"claudeFailedEdit",
                    call("Edit", R"({"file_path":"a","old_string":"a","new_string":"b"})", "not found", kFailed),
                    ToolCallKind::edit, "Edit|a|"},
        SummaryCase{"claudeMultiEdit",
                    call("MultiEdit", R"({"file_path":"a","edits":[{"old_string":"","new_string":"x\ny"},)"
                                      R"({"old_string":"z\n","new_string":""}]})"),
                    ToolCallKind::edit, "Edit|a|+2 −1"},
        SummaryCase{"claudeWrite", call("Write", R"({"file_path":"/elsewhere/a","content":"x"})"), ToolCallKind::edit,
                    "Write|/elsewhere/a|"},
        SummaryCase{
            "claudeBash",
            call("Bash", R"({"description":"Tests","command":"\n  ctest -R A\nls"})", "Exit code 8\nx", kFailed),
            ToolCallKind::run, "Run|ctest -R A|exit 8"},
        SummaryCase{"claudeBashThatPrintsIt", call("Bash", R"({"command":"x"})", "Exit code 8\nx"), ToolCallKind::run,
                    "Run|x|"},
        SummaryCase{"claudeTask", call("Task", R"({"prompt":"look","description":"look around"})"), ToolCallKind::task,
                    "Delegate|look around|"},
        SummaryCase{"claudeTodo", call("TodoWrite", R"({"todos":[]})"), ToolCallKind::todo, "Plan||"},
        SummaryCase{"claudeFetch", call("WebFetch", R"({"prompt":"p","url":"https://a.example/b"})"),
                    ToolCallKind::fetch, "Fetch|https://a.example/b|"},
        SummaryCase{"claudeServer", call("mcp__echo__say", R"({"count":1,"text":"hi"})"), ToolCallKind::other,
                    "echo.say|hi|"},
        SummaryCase{"piBash", call("bash", R"({"command":"make"})", "one\n\nCommand exited with code 3", kFailed),
                    ToolCallKind::run, "Run|make|exit 3"},
        SummaryCase{"piEdit", call("edit", R"({"path":"a.txt","oldText":"a","newText":"b"})"), ToolCallKind::edit,
                    "Edit|a.txt|+1 −1"},
        SummaryCase{"ravantList", call("list_directory", R"({"path":"core"})"), ToolCallKind::read, "List|core|"},
        SummaryCase{"ravantRead", call("read_file", R"({"path":"a b.txt"})"), ToolCallKind::read, "Read|a b.txt|"},
        SummaryCase{"codexShell", call("shell", "cat notes.txt", "one\nexit code 3", kFailed), ToolCallKind::run,
                    "Run|cat notes.txt|exit 3"},
        SummaryCase{"codexSession", call("exec_command", R"({"cmd":"echo one","tty":true})"), ToolCallKind::run,
                    "Run|echo one|"},
        SummaryCase{"codexWords", call("shell", R"({"command":["bash","-lc","make all"]})"), ToolCallKind::run,
                    "Run|make all|"},
        SummaryCase{
            "codexChange",
            call("apply_patch", "/home/user/project/a.txt\n/p/b.txt",
                 "/home/user/project/a.txt\n@@ -1,2 +1,3 @@ f()\n a\n-@@ -1 +1 @@\n+b\n++c\n@@ -9 +10 @@\n-a\n+b\n\n"
                 "/p/b.txt (added)\nx\n\n/p/a.txt\ny"),
            ToolCallKind::edit, "Edit|a.txt and 1 more|+7 −2"},
        SummaryCase{"codexDeletion", call("apply_patch", "/p/c.txt", "/p/c.txt (deleted)\nc"), ToolCallKind::edit,
                    "Edit|/p/c.txt|"},
        SummaryCase{"codexCutHunk", call("apply_patch", "/p/c.txt", "/p/c.txt\n@@ -1,5 +1,5 @@\n-a"),
                    ToolCallKind::edit, "Edit|/p/c.txt|"},
        SummaryCase{"codexPatch", call("apply_patch", "*** Begin Patch\n*** Add File: p.txt\n+a\n+b\n*** End Patch\n"),
                    ToolCallKind::edit, "Edit|p.txt|+2"},
        SummaryCase{"codexSearch", call("web_search", "json rpc"), ToolCallKind::search, "Search|json rpc|"},
        SummaryCase{"codexServer", call("echo.say", R"({"text":"hi"})"), ToolCallKind::other, "echo.say|hi|"},
        SummaryCase{"acpCommand", acp("Run `ls`", "execute", R"({"command":"ls"})"), ToolCallKind::run, "Run|ls|"},
        SummaryCase{"acpTitle", acp("Edit x.txt", "edit", "{}"), ToolCallKind::edit, "Edit|x.txt|"},
        SummaryCase{"acpPath", acp("/home/user/project/n.txt", "read", "{}"), ToolCallKind::read, "Read|n.txt|"},
        SummaryCase{"acpFile", acp("write", "edit", R"({"filePath":"notes.txt","content":"a"})"), ToolCallKind::edit,
                    "Write|notes.txt|"},
        SummaryCase{"acpUnknown", acp("ponder", "think", "null"), ToolCallKind::other, "ponder|null|"}),
    [](const auto& info) { return info.param.name; });

TEST(ToolCallSummary, isHarmlessWhateverTheTextsAre) {
  const std::string rubbish[] = {"",
                                 "{",
                                 "[]",
                                 "{}",
                                 "null",
                                 "\xff\xfe",
                                 R"({"command":5,"path":[]})",
                                 "\x1b",
                                 "{\"a\":",
                                 "*** Begin Patch",
                                 "\n\n",
                                 R"({"edits":[1],"command":[1,"a"]})"};
  for (const char* name :
       {"", "Edit", "Read", "Bash", "Grep", "WebFetch", "TodoWrite", "Task", "apply_patch", "\xff"}) {
    for (const std::string& text : rubbish) {
      for (const auto status : {kRunning, kCompleted, kFailed}) {
        ToolInvocation invocation = call(name, text, text, status);
        invocation.rawJSON = "\"sessionUpdate\"" + text;
        const ToolCallSummary summary = toolCallSummary(invocation, "/");
        for (const std::string& told : {summary.verb, summary.subject, groupSummary({{invocation}}, "relative")}) {
          EXPECT_TRUE(isValidUtf8(told) && !told.contains('\n') && !told.contains('\x1b')) << name << ' ' << text;
        }
      }
    }
  }
  EXPECT_EQ(toolCallSummary({}, kProject), (ToolCallSummary{}));
}

TEST(ToolCallSummary, readsTheBeginningOfWhatIsHuge) {
  std::string content;
  while (content.size() < 3'000'000) content += R"(\u00e9\ud83d\ude00\"\\ü\n)";
  const std::string write = R"({"file_path":"a.txt","content":")" + content + "\"}";
  EXPECT_EQ(toolCallSummary(call("Write", write)).subject, "a.txt");
  for (std::size_t shift = 1; shift < 30; ++shift) {  // wherever an escape is cut
    const std::string shifted = R"({"file_path":"a.txt","content":")" + std::string(shift, 'x') + content + "\"}";
    EXPECT_EQ(toolCallSummary(call("Write", shifted)).subject, "a.txt") << shift;
  }
  const std::string subject = toolCallSummary(call("shell", std::string(2'000'000, 'x') + "\nls")).subject;
  EXPECT_EQ(subject, std::string(1'000, 'x') + "…");
  std::string lines;
  for (int line = 0; line < 4'000; ++line) lines += fmt::format(R"(line {}\n)", line);
  EXPECT_EQ(toolCallSummary(call("Edit", R"({"path":"a","old_string":")" + lines + R"(","new_string":"b"})")).result,
            "+1 −4000");
  std::string patch = "*** Begin Patch\n*** Add File: a.txt\n";
  while (patch.size() < 100'000) patch += "+line\n";
  EXPECT_EQ(toolCallSummary(call("apply_patch", patch)), (ToolCallSummary{ToolCallKind::edit, "Edit", "a.txt", {}}));
}

TEST(GroupSummary, countsInTheOrderOfFirstAppearance) {
  std::vector<ToolInvocation> calls = {call("Edit", R"({"file_path":"a"})"), call("Bash", R"({"command":"x"})"),
                                       call("Edit", R"({"file_path":"b"})"), call("Bash", R"({"command":"x"})")};
  EXPECT_EQ(groupSummary(calls), "Edited 2 files, ran 2 commands");
  calls = {call("Read", R"({"file_path":"a"})"), call("Edit", R"({"file_path":"a"})"),
           call("Edit", R"({"file_path":"a"})"), call("Grep", R"({"pattern":"x"})")};
  EXPECT_EQ(groupSummary(calls), "Read a file, edited a file, searched");
  calls = {call("apply_patch", "/a\n/b"), call("apply_patch", "/b\n/c"), call("own", ""), call("other", "")};
  EXPECT_EQ(groupSummary(calls), "Edited 3 files, used 2 tools");
  EXPECT_EQ(groupSummary({}), "");
}

TEST(GroupSummary, tellsWhatTheLatestRunningCallDoes) {
  std::vector<ToolInvocation> calls = {call("Bash", R"({"command":"x"})"),
                                       call("Edit", R"({"file_path":"/home/user/project/core/x.cpp"})", {}, kRunning),
                                       call("Bash", R"({"command":"x"})")};
  EXPECT_EQ(groupSummary(calls, kProject), "Editing core/x.cpp");
  calls.push_back(call("Bash", R"({"command":"make"})", {}, kRunning));
  EXPECT_EQ(groupSummary(calls, kProject), "Running a command");
  calls.push_back(call("Grep", R"({"pattern":"TODO"})", {}, kRunning));
  EXPECT_EQ(groupSummary(calls, kProject), "Searching for TODO");
  calls.push_back(call("Read", {}, {}, kRunning));
  EXPECT_EQ(groupSummary(calls, kProject), "Reading a file");
  calls.push_back(call("mcp__echo__say", {}, {}, kRunning));
  EXPECT_EQ(groupSummary(calls, kProject), "Using echo.say");
}

}  // namespace
}  // namespace ravant::test
