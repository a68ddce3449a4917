#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/clock/clock.hpp"
#include "platform/json/json.hpp"

namespace ravant::claude {

/// What stands in a model's place where none wrote.
inline constexpr std::string_view kSyntheticModel = "<synthetic>";

/// What a line of a session file is to the transcript.
enum class SessionRole {
  none,  ///< book-keeping, context for the model, or what the program says in the user's place
  unknown,
  prompt,
  results,
  interruption,
  reply,
  failure,
  compaction,
  title,
  summary,  ///< a title too, of the session that a line is of
};

/// One line of the files in which Claude Code keeps its sessions.
/// Source: the program's own files, 2.1.330 and 1.0.128.
struct SessionLine {
  SessionRole role = SessionRole::none;
  std::string type;    ///< of a system line with its subtype
  std::string uuid;    ///< empty where the line is not of the conversation
  std::string parent;  ///< the line that it goes on from
  bool isSidechain = false;
  std::optional<Timestamp> at;
  std::string workingDirectory;
  std::string text;                  ///< of a prompt, a failure or a title
  std::string leaf;                  ///< of a summary: the line whose session it names
  std::vector<std::string> calls;    ///< that a reply begins
  std::vector<std::string> results;  ///< the calls that have one
  bool isLastReply = false;          ///< of a reply: nothing says that another follows
  bool isQueued = false;             ///< of a prompt: it waited, and nothing was taken back for it
  bool isCommand = false;            ///< of what the program says: that the user gave it a command
  bool isSynthetic = false;          ///< of a reply: no model wrote it
};

/// Nothing for a line that is no JSON object with a type.
std::optional<SessionLine> parseSessionLine(JsonLineParser& parser, std::string_view line);

/// A prompt without what an editor put before it: what is open and selected there.
std::string_view withoutSurroundings(std::string_view prompt);

}  // namespace ravant::claude
