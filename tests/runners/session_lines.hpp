#pragma once

#include <fmt/format.h>

#include <string>
#include <string_view>
#include <vector>

#include "tests/support/temporary_folder.hpp"

namespace ravant::test {

struct SessionFileLines {
  std::string path;  ///< in the agent's folder
  std::vector<std::string> lines;
};

inline void writeSessions(const std::filesystem::path& folder, const std::vector<SessionFileLines>& files) {
  for (const auto& [path, lines] : files) {
    std::filesystem::create_directories((folder / path).parent_path());
    std::ofstream file(folder / path, std::ios::binary);
    for (const std::string& line : lines) file << line << '\n';
  }
}

/// Lines as agents write them, as short as they can be. `members` are of a JSON object, without its braces.
namespace session_lines {

inline constexpr std::string_view kTime = "2025-11-22T03:00:00.000Z";

inline std::string quoted(std::string_view text) { return text.empty() ? "null" : fmt::format("\"{}\"", text); }

inline std::string claude(std::string_view type, std::string_view id, std::string_view parent, std::string_view members,
                          std::string_view time = kTime) {
  return fmt::format(R"({{"type":"{}","uuid":"{}","parentUuid":{},"timestamp":"{}","cwd":"/p",{}}})", type, id,
                     quoted(parent), time, members);
}
inline std::string claudePrompt(std::string_view id, std::string_view parent, std::string_view text,
                                std::string_view members = R"("promptSource":"sdk")", std::string_view time = kTime) {
  return claude("user", id, parent, fmt::format(R"({},"message":{{"role":"user","content":"{}"}})", members, text),
                time);
}
inline std::string claudeReply(std::string_view id, std::string_view parent, std::string_view message,
                               std::string_view block, std::string_view stopReason = "end_turn", int outputTokens = 5,
                               std::string_view time = kTime) {
  return claude(
      "assistant", id, parent,
      fmt::format(R"("message":{{"id":"{}","model":"model","stop_reason":"{}","usage":{{"output_tokens":{}}},)"
                  R"("content":[{}]}})",
                  message, stopReason, outputTokens, block),
      time);
}
inline std::string claudeResult(std::string_view id, std::string_view parent, std::string_view call,
                                std::string_view output, std::string_view time = kTime) {
  return claude("user", id, parent,
                fmt::format(R"("message":{{"role":"user","content":[{{"type":"tool_result","tool_use_id":"{}",)"
                            R"("content":"{}"}}]}})",
                            call, output),
                time);
}

inline std::string codexLine(int ordinal, std::string_view type, std::string_view members) {
  return fmt::format(R"({{"timestamp":"2025-11-22T03:00:{:02}.000Z","ordinal":{},"type":"{}","payload":{{{}}}}})",
                     ordinal, ordinal, type, members);
}
inline std::string codexMeta(std::string_view thread, std::string_view members = {}, int second = 0) {
  return fmt::format(R"({{"timestamp":"2025-11-22T03:00:{:02}.000Z","ordinal":0,"type":"session_meta","payload":{{)"
                     R"("id":"{}",{}"cwd":"/p","source":"exec","history_mode":"paginated"}}}})",
                     second, thread, members);
}
inline std::string codexEvent(int ordinal, std::string_view members) {
  return codexLine(ordinal, "event_msg", members);
}
inline std::string codexResponse(int ordinal, std::string_view members) {
  return codexLine(ordinal, "response_item", members);
}
inline std::string codexItem(int ordinal, std::string_view turn, std::string_view members) {
  return codexEvent(ordinal, fmt::format(R"("type":"item_completed","turn_id":"{}","item":{{{}}})", turn, members));
}
inline std::string codexCommand(int ordinal, std::string_view call, std::string_view command) {
  return codexResponse(ordinal,
                       fmt::format(R"("type":"function_call","name":"exec_command","arguments":"{{\"cmd\":\"{}\"}}",)"
                                   R"("call_id":"{}")",
                                   command, call));
}
inline std::string codexUsage(int ordinal, int outputTokens) {
  return codexEvent(ordinal, fmt::format(R"("type":"token_count","info":{{"last_token_usage":{{"input_tokens":30,)"
                                         R"("output_tokens":{}}},"model_context_window":1000}})",
                                         outputTokens));
}
/// A turn of a prompt alone, in lines of one ordinal.
inline std::string codexTurn(int ordinal, std::string_view turn, std::string_view prompt) {
  return codexEvent(ordinal, fmt::format(R"("type":"task_started","turn_id":"{}")", turn)) + "\n" +
         codexItem(ordinal, turn,
                   fmt::format(R"("type":"UserMessage","content":[{{"type":"text","text":"{}"}}])", prompt)) +
         "\n" + codexEvent(ordinal, fmt::format(R"("type":"task_complete","turn_id":"{}")", turn));
}
inline std::string codexOld(std::string_view type, std::string_view members) {
  return fmt::format(R"({{"timestamp":"{}","type":"{}","payload":{{{}}}}})", kTime, type, members);
}

inline std::string piHeader(std::string_view id) {
  return fmt::format(R"({{"type":"session","version":3,"id":"{}","timestamp":"{}","cwd":"/p"}})", id, kTime);
}
inline std::string pi(std::string_view type, std::string_view id, std::string_view parent, std::string_view members) {
  return fmt::format(R"({{"type":"{}","id":"{}","parentId":{},"timestamp":"{}",{}}})", type, id, quoted(parent), kTime,
                     members);
}
inline std::string piPrompt(std::string_view id, std::string_view parent, std::string_view text) {
  return pi("message", id, parent,
            fmt::format(R"("message":{{"role":"user","content":[{{"type":"text","text":"{}"}}]}})", text));
}
inline std::string piReply(std::string_view id, std::string_view parent, std::string_view blocks,
                           std::string_view stopReason, std::string_view members = {}) {
  return pi(
      "message", id, parent,
      fmt::format(
          R"("message":{{"role":"assistant","content":[{}],"provider":"maker","model":"mock","responseId":"resp-{}",{})"
          R"("usage":{{"input":10,"output":5}},"stopReason":"{}"}})",
          blocks, id, members, stopReason));
}
inline std::string piResult(std::string_view id, std::string_view parent, std::string_view call,
                            std::string_view output, bool isError) {
  return pi(
      "message", id, parent,
      fmt::format(R"("message":{{"role":"toolResult","toolCallId":"{}","content":[{{"type":"text","text":"{}"}}],)"
                  R"("isError":{}}})",
                  call, output, isError));
}

}  // namespace session_lines
}  // namespace ravant::test
