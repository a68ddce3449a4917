#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "platform/clock/clock.hpp"
#include "platform/json/json.hpp"

/// The lines of the files in which Codex keeps its threads.
/// Source: the program's own files, codex-cli 0.169.0 and 0.98.0.
namespace ravant::codex {

/// Up to where another file holds the beginning of a thread.
struct SessionBase {
  std::string file;  ///< its id: of its thread, or of its segment where it holds one
  std::optional<std::int64_t> endOrdinal;
  std::optional<std::int64_t> endByte;
};

/// What a file's first line says of it.
struct SessionMeta {
  std::string threadId;
  bool isOfSubagent = false;
  bool hasItems = false;  ///< whether it says that the file has the items that the server tells
  std::string workingDirectory;
  std::optional<Timestamp> at;
  std::optional<SessionBase> base;
};

/// What a line is to the transcript. Older files have events and calls where newer ones have items.
enum class SessionRole {
  none,
  unknown,
  meta,
  settings,
  turnStart,
  turnEnd,
  turnAbort,
  prompt,
  item,
  usage,
  call,
  output,
  oldPrompt,
  oldMessage,
  oldCompaction,
};

struct SessionLine {
  SessionRole role = SessionRole::none;
  std::string type;  ///< of an envelope with that of what is in it
  std::optional<std::int64_t> ordinal;
  std::optional<Timestamp> at;
  std::optional<Timestamp> begunAt;  ///< of an item
  std::string turnId;
  std::string text;   ///< of a prompt
  std::string model;  ///< of settings
  std::string workingDirectory;
  std::string callId;           ///< of an item, a call or its output
  bool isCommand = false;       ///< of a call: a shell runs it
  bool isNeverShown = false;    ///< of a call or its output: of one that the server tells nobody of
  bool isEmptyFailure = false;  ///< of an item: a command that failed without a word
};

/// Nothing for a line that is no JSON object with a type.
std::optional<SessionLine> parseSessionLine(JsonLineParser& parser, std::string_view line);
std::optional<SessionLine> parseSessionLine(const json::object& line);
/// Nothing for a line that is not a thread's first.
std::optional<SessionMeta> parseSessionMeta(JsonLineParser& parser, std::string_view line);

/// A prompt without what an editor put before it: what is open there, and the files that were given.
std::string_view withoutSurroundings(std::string_view prompt);

/// What the server would have said where such a line was written; nothing for one that it says nothing of.
struct SessionNotification {
  std::string_view method;
  json::object params;
};
std::optional<SessionNotification> notificationOf(const json::object& line);

/// A line of the list of names.
struct ThreadName {
  std::string threadId;
  std::string name;
};
std::optional<ThreadName> parseThreadName(JsonLineParser& parser, std::string_view line);

}  // namespace ravant::codex
