#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/store/change_feed.hpp"
#include "core/store/pinned_item_store.hpp"
#include "core/window/window_state.hpp"
#include "palette/command_palette_item.hpp"
#include "palette/command_palette_options.hpp"
#include "palette/command_palette_store.hpp"
#include "palette/palette_index.hpp"
#include "palette/stale_candidates.hpp"

namespace ravant {

/// The palette of one window: what there is to go to or to run, found by a query.
///
/// Belongs to the interface executor, on which every member is called. Owned by a `std::shared_ptr`. An entry stands in
/// one section only: in "Recent", or in its own. Sections without entries are not there. Whoever owns it hands it what
/// the store announces; it has no subscription of its own.
class CommandPaletteModel : public std::enable_shared_from_this<CommandPaletteModel> {
 public:
  class Observer {
   public:
    virtual ~Observer() = default;
    /// The sections or the selected entry, while the palette is open.
    virtual void paletteChanged() = 0;
  };

  explicit CommandPaletteModel(CommandPaletteOptions options);

  /// Without a window, every command is offered, and actions do nothing.
  void configure(std::shared_ptr<WindowState> windowState, std::shared_ptr<ModelContainer> modelContext,
                 std::function<void()> openSettings);
  /// The observer outlives this, or is taken back with null.
  void setObserver(Observer* observer) { observer_ = observer; }
  void setKeybindings(Keybindings keybindings);
  void setSectionSizes(std::size_t sectionItems, std::size_t recentItems);

  /// Empties the query, shows what is known, and reads what there is. Throws `StoreError`: what was known is offered
  /// then, and everything is read at the next change.
  awaitable<void> open();
  void close();
  /// What the store announced, in its order: by and by, what is shown follows it. Nothing while the palette is closed.
  void take(const ChangeBatch& batch);

  const std::string& query() const { return query_; }
  /// Selects the first entry.
  void setQuery(std::string query);
  void rebuildResults();

  const std::vector<CommandPaletteSection>& sections() const { return sections_; }
  /// Of the entries of all sections one after the other; 0 where there are none.
  std::size_t selectedIndex() const { return selectedIndex_; }
  /// The last entry where there are less.
  void setSelectedIndex(std::size_t index);
  const CommandPaletteItem* selectedItem() const { return itemAt(selectedIndex_); }

  /// Does what the entry is for, then records that it was executed.
  awaitable<void> execute(CommandPaletteItem item);
  /// The entry is the latest one from now on. Where this cannot be stored, that is logged and tried again with the next
  /// one.
  awaitable<void> recordExecution(CommandPaletteItem of);

  static std::string conversationItemID(ConversationId conversation);
  static std::string projectItemID(ProjectId project);
  static std::string githubPullItemID(GithubPullRequestId pull);

 private:
  struct Found {
    PaletteSection section;
    PalettePool::Match match;
  };

  struct Reading {
    CommandPaletteContents contents;                          ///< where everything was read
    std::vector<PinnedItem> pins;                             ///< likewise
    std::vector<std::optional<PaletteCandidate>> candidates;  ///< else those of the rows
  };

  static awaitable<void> readStale(std::weak_ptr<CommandPaletteModel> model, std::uint64_t turn);
  static awaitable<Reading> read(std::shared_ptr<CommandPaletteStore> store, std::shared_ptr<PinnedItemStore> pins,
                                 StaleCandidates stale);
  void show(const StaleCandidates& stale, Reading reading);
  void rebuild();
  void tellObserver();
  void refreshCommands();
  bool canRun(WindowCommand command) const;
  void refreshKeepingSelection();

  /// The best of what was used; `pool` is all of it that answers the query.
  std::vector<CommandPaletteItem> recentItems(std::vector<Found> pool) const;
  /// An entry that was used and that no other section holds.
  std::optional<CommandPaletteItem> recentItemOutsidePools(const std::string& id) const;
  std::vector<CommandPaletteItem> items(PaletteSection section, const FoldedQuery& query,
                                        const std::vector<CommandPaletteItem>& recent);
  CommandPaletteItem item(const PaletteCandidate& candidate) const;
  static awaitable<void> perform(std::shared_ptr<const CommandPaletteModel> self, PaletteTarget target);
  const CommandPaletteItem* itemAt(std::size_t index) const;
  std::size_t itemCount() const;

  CommandPaletteOptions options_;
  std::shared_ptr<WindowState> windowState_;
  std::function<void()> openSettings_;
  Observer* observer_ = nullptr;
  std::shared_ptr<CommandPaletteStore> store_;
  std::shared_ptr<PinnedItemStore> pins_;
  bool isOpen_ = false;
  std::uint64_t turn_ = 0;   ///< another one from each `open` and `close` on
  StaleCandidates stale_;    ///< what is still to be read
  bool isReading_ = false;   ///< in this turn
  bool isComplete_ = false;  ///< everything was read in this turn

  PaletteIndex index_;
  std::vector<std::string> unstoredUses_;  ///< ids, in their order
  bool isStoringUses_ = false;
  std::string query_;
  std::vector<CommandPaletteSection> sections_;
  std::size_t selectedIndex_ = 0;
};

}  // namespace ravant
