#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/clock/clock.hpp"
#include "runners/session_items.hpp"

namespace ravant {

/// A file that holds a session or a part of it.
struct SessionFileRef {
  std::filesystem::path path;
  std::optional<std::int64_t> endOrdinal = {};  ///< what stands from here on is not the session's
  std::optional<std::int64_t> endByte = {};     ///< likewise, where records have no ordinals
};

/// A session that an agent keeps, as it is listed.
struct ListedSession {
  std::string id;                     ///< what the agent resumes
  std::vector<SessionFileRef> files;  ///< in the order of what they hold; the last one grows
  std::optional<std::string> title = {};
  bool isArchived = false;
};

/// What was not taken in, and why, in words for people.
struct SkippedSession {
  std::filesystem::path file;
  std::string reason;

  bool operator==(const SkippedSession&) const = default;
};

struct SessionListing {
  std::vector<ListedSession> sessions;
  std::vector<SkippedSession> skipped;
};

/// A line that the transcript is made of.
struct SessionRecord {
  std::size_t file = 0;  ///< among those of the session
  std::int64_t offset = 0;
  std::size_t length = 0;  ///< without the line feed
  Timestamp at = {};
  bool beginsTurn = false;
};

/// What a session is, without its transcript.
struct SessionOutline {
  std::string workingDirectory;  ///< the last one; empty where no record tells it
  std::optional<std::string> title;
  std::optional<std::string> model;
  std::optional<Timestamp> begunAt;
  std::optional<Timestamp> lastAt;
  std::vector<SessionRecord> records;  ///< in the order of the transcript
  bool isLastTurnOver = true;
  bool hasTalk = false;                     ///< there are records of a conversation, wherever they belong
  std::map<std::string, int> unknownTypes;  ///< of records, and how often they came
  int brokenLines = 0;
};

/// Makes the items of one turn.
class SessionTurn {
 public:
  virtual ~SessionTurn() = default;
  virtual void onRecord(std::string_view line, SessionItems& items) = 0;
  /// There are no more records.
  virtual void onEnd(SessionItems& items) = 0;
};

/// One session as its agent wrote it down: a state machine without input or output, which is given every whole line of
/// the session's files and finds out which of them make the transcript, for that is often told by later ones.
class AgentSession {
 public:
  virtual ~AgentSession() = default;

  /// The lines from now on are the file's.
  virtual void onFile(const SessionFileRef& /*file*/) {}
  /// `place` has the file, offset and length.
  virtual void onLine(std::string_view line, SessionRecord place) = 0;
  /// When there are no more lines.
  virtual SessionOutline finish() = 0;
  /// What the user typed of a prompt, without what the program put before it; where nothing was typed, a word for what
  /// was given.
  virtual std::string typedWords(std::string_view prompt) const { return std::string(prompt); }
  /// To be given the records of a turn, after `finish`.
  virtual std::unique_ptr<SessionTurn> beginTurn() const = 0;
};

}  // namespace ravant
