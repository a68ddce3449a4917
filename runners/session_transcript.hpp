#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "runners/agent_session.hpp"
#include "runners/session_file.hpp"

namespace ravant {

/// What the last turns of a session leave behind.
struct SessionFigures {
  bool hasItems = false;
  std::optional<std::string> model;
  std::optional<TokenUsageSnapshot> usage;
  Timestamp usageAt{};
  std::optional<std::int64_t> contextWindow;
};

/// A session's transcript, read from its files turn by turn. Its operations block and throw
/// std::filesystem::filesystem_error.
class SessionTranscript {
 public:
  /// Reads the whole of the files once, to find the transcript.
  SessionTranscript(const ListedSession& session, std::unique_ptr<AgentSession> agentSession);

  const SessionOutline& outline() const { return outline_; }
  /// The one that grows, which was read up to here.
  const SessionFile& newestFile() const { return files_.back(); }
  std::int64_t endOfNewestFile() const { return end_; }

  /// Leaves the last turn out.
  void dropLastTurn();
  /// Leaves out everything up to the record that stands at an offset of the newest file. False, and nothing is left
  /// out, where no such record is of the transcript.
  bool dropThrough(std::int64_t offset);
  /// The offset of the transcript's last record, also where it is left out; nothing where the newest file has none.
  std::optional<std::int64_t> lastRecord() const;

  /// What the user typed of a prompt of the transcript.
  std::string typedWords(std::string_view prompt) const { return agentSession_->typedWords(prompt); }

  SessionFigures lastFigures() const;
  Timestamp lastPromptAt() const;

  /// Nothing behind the last turn.
  std::optional<SessionItems> nextTurn();

 private:
  void dateFirstRecords();
  SessionItems readTurn(std::size_t begin, std::size_t end) const;
  std::size_t endOfTurn(std::size_t begin) const;

  std::vector<SessionFile> files_;
  std::unique_ptr<AgentSession> agentSession_;
  SessionOutline outline_;
  std::int64_t end_ = 0;
  std::optional<std::int64_t> droppedThrough_;
  std::size_t next_ = 0;  ///< record
};

}  // namespace ravant
