#pragma once

#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "core/store/store_actor.hpp"
#include "palette/palette_candidate.hpp"

namespace ravant {

class CommandPaletteOperations;

/// An entity of which there can be very many, so that it is read again by itself when it changes.
using PaletteRow = std::variant<ConversationId, LinearIssueId, GithubPullRequestId>;

struct CommandPaletteContents {
  /// Those of each section in its order, and what was used and is listed nowhere else.
  std::vector<PaletteCandidate> candidates;
  /// Entries that were executed, the latest first, whether they still exist or not.
  std::vector<std::string> usedIds;
};

/// Reads what the palette can find (but pinned views), and keeps what was used. All operations throw `StoreError`.
class CommandPaletteStore : public StoreActor<CommandPaletteOperations> {
 public:
  static std::shared_ptr<CommandPaletteStore> make(std::shared_ptr<ModelContainer> modelContainer);
  explicit CommandPaletteStore(std::shared_ptr<ModelContainer> modelContainer);
  ~CommandPaletteStore() override;

  awaitable<CommandPaletteContents> contents();
  /// In the order of the rows; nothing for one that is gone.
  awaitable<std::vector<std::optional<PaletteCandidate>>> candidates(std::vector<PaletteRow> rows);
  /// One after the other. Only the latest few hundred are kept. `busy` at once where another writer is at work.
  awaitable<void> recordUses(std::vector<std::string> ids);
};

}  // namespace ravant
