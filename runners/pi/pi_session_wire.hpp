#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/clock/clock.hpp"
#include "platform/json/json.hpp"

namespace ravant::pi {

/// What an entry of a session file is to the transcript.
enum class SessionRole {
  none,
  unknown,
  header,
  prompt,
  reply,
  result,
  compaction,
  name,
  modelChange,
  correction,  ///< takes an earlier entry back
};

/// One line of the files in which Pi keeps its sessions.
/// Source: the program's own files, 0.87.1 and 0.73.1.
struct SessionEntry {
  SessionRole role = SessionRole::none;
  std::string type;  ///< of a message with its role
  std::string id;
  std::string parent;
  std::optional<Timestamp> at;
  std::string text;              ///< of a prompt or a name
  std::string model;             ///< of a reply or a change, as it is asked for
  std::string workingDirectory;  ///< of a header
  std::string target;            ///< of a correction
  bool isLastReply = false;      ///< of a reply: no call follows from it, and it is not tried again
  bool isInterrupted = false;    ///< of a reply
};

/// A file that was given with a prompt, before whose words its contents stand.
struct FileBefore {
  std::string path;
  std::string_view rest;  ///< of the prompt
};
std::optional<FileBefore> fileBefore(std::string_view prompt);

/// Nothing for a line that is no JSON object with a type.
std::optional<SessionEntry> parseSessionEntry(JsonLineParser& parser, std::string_view line);
std::optional<SessionEntry> parseSessionEntry(const json::object& line);

}  // namespace ravant::pi
