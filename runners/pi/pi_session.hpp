#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "runners/agent_session.hpp"
#include "runners/pi/pi_session_wire.hpp"

namespace ravant {

/// How Pi's session files lie in a folder: in one folder for each project, or all together.
enum class PiFolderShape { byProject, flat };

/// Blocks.
SessionListing listPiSessions(const std::filesystem::path& folder, PiFolderShape shape);

/// A session of Pi: the way from its last entry up to the first one.
class PiSession final : public AgentSession {
 public:
  void onLine(std::string_view line, SessionRecord place) override;
  SessionOutline finish() override;
  std::string typedWords(std::string_view prompt) const override;
  std::unique_ptr<SessionTurn> beginTurn() const override;

 private:
  using EntryId = std::size_t;  ///< a hash: two of one session never meet in practice

  struct Entry {
    EntryId id;
    EntryId parent;
    pi::SessionRole role;
    SessionRecord record;
    bool isLastReply;
  };

  JsonLineParser parser_;
  SessionOutline outline_;
  std::vector<Entry> entries_;
  std::unordered_map<EntryId, std::size_t> entryOf_;
  std::unordered_set<EntryId> takenBack_;
};

}  // namespace ravant
