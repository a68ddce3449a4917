#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "runners/agent_session.hpp"
#include "runners/claude/claude_session_wire.hpp"

namespace ravant {

/// The sessions below Claude Code's folder, those of sub-agents left out. Blocks.
SessionListing listClaudeSessions(const std::filesystem::path& folder);

/// A session of Claude Code.
///
/// Its lines are a tree, but no path through it is the conversation: results of calls made at once, and prompts that
/// waited, are leaves of their own. The conversation is every line but those behind a prompt that was taken back, which
/// is one from whose place a later prompt goes on.
class ClaudeSession final : public AgentSession {
 public:
  void onLine(std::string_view line, SessionRecord place) override;
  SessionOutline finish() override;
  std::string typedWords(std::string_view prompt) const override;
  std::unique_ptr<SessionTurn> beginTurn() const override;

 private:
  using LineId = std::size_t;  ///< a hash: two of one session never meet in practice

  struct Node {
    LineId id;
    LineId parent;
    claude::SessionRole role;
    bool takesPlace;  ///< what went on from the same place before was taken back for it
    SessionRecord record;
  };

  void follow(const claude::SessionLine& line);
  std::vector<bool> takenBack() const;
  std::vector<bool> amongCalls() const;

  JsonLineParser parser_;
  SessionOutline outline_;
  std::vector<Node> nodes_;
  std::unordered_map<LineId, std::size_t> nodeOf_;
  std::vector<std::pair<LineId, std::string>> summaries_;
  bool hasName_ = false;
  /// The calls without a result, with their places among the nodes: those since the last interruption, or prompt that
  /// did not wait, and those before it.
  std::unordered_map<std::string, std::size_t> openCalls_;
  std::unordered_map<std::string, std::size_t> leftCalls_;
  std::vector<std::pair<std::size_t, std::size_t>> endedCalls_;  ///< the places of call and result
};

}  // namespace ravant
