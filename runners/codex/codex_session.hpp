#pragma once

#include <memory>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include "runners/agent_session.hpp"
#include "runners/codex/codex_session_wire.hpp"

namespace ravant {

/// The threads below Codex's folder, those of sub-agents left out. A thread is its newest file and those that hold what
/// goes before it. Blocks.
SessionListing listCodexSessions(const std::filesystem::path& folder);

/// A thread of Codex.
///
/// Of the two ways in which newer files tell everything, the items are taken. Only a command that was cut off has none,
/// or one that comes late; it is taken from the call. A file, or its beginning, can be of a version without items.
class CodexSession final : public AgentSession {
 public:
  explicit CodexSession(std::string threadId) : threadId_(std::move(threadId)) {}

  void onFile(const SessionFileRef& file) override;
  void onLine(std::string_view line, SessionRecord place) override;
  SessionOutline finish() override;
  std::string typedWords(std::string_view prompt) const override;
  std::unique_ptr<SessionTurn> beginTurn() const override;

  /// What the lines of a turn cannot tell themselves.
  struct Knowledge {
    std::string model;
    std::unordered_set<std::string> commands;                     ///< the calls that a shell was to run
    std::unordered_set<std::string> callsBeforeItems;             ///< of parts that have none
    std::unordered_set<std::string> callsOfItems;                 ///< that have one before their turn's end
    std::unordered_set<std::string> unshownCalls;                 ///< that the server tells nobody of
    std::unordered_map<std::string, std::string> itemsAfterEnds;  ///< the lines, by their calls
  };

 private:
  struct Candidate {
    SessionRecord record;
    codex::SessionRole role;
    bool isBeforeItems;
  };

  bool isBeyondEnd(const codex::SessionLine& line, const SessionRecord& place) const;
  void onMeta(std::string_view text);
  void onItem();
  void follow(const codex::SessionLine& line, std::string_view text);

  std::string threadId_;
  SessionFileRef file_;
  bool hasItems_ = false;  ///< the file, up to here
  JsonLineParser parser_;
  SessionOutline outline_;
  std::vector<Candidate> candidates_;
  std::unordered_set<std::string> endedTurns_;
  std::unordered_set<std::string> openCalls_;
  bool isTurnRunning_ = false;
  std::shared_ptr<Knowledge> knowledge_ = std::make_shared<Knowledge>();
};

}  // namespace ravant
