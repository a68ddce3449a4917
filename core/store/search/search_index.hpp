#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <string_view>

#include "core/agent_type.hpp"
#include "core/store/store_actor.hpp"

namespace ravant {

class SearchIndexOperations;

/// The words in the index that say where a text belongs; no text has them.
namespace search_word {
std::string project(std::int64_t row);
std::string agent(std::string_view type);
std::string kind(std::string_view kind);
std::string week(std::int64_t week);
inline constexpr std::string_view kCode = "\uE000code";      ///< of messages with a code block
inline constexpr std::string_view kFailed = "\uE000failed";  ///< of tool calls
inline constexpr std::string_view kCut = "\uE000cut";        ///< of texts whose end is not indexed
}  // namespace search_word

inline constexpr std::int64_t kSearchWeek = 7LL * 24 * 3600 * 1'000'000;  ///< in the units of stored times

/// In what steps texts are taken in.
struct SearchIndexPace {
  std::int64_t entries = 2000;              ///< of one step
  std::size_t entryBytes = 16UL << 20;      ///< of one entry; every search looks into one that is larger
  std::chrono::milliseconds pause{120};     ///< between two, at least; whoever waits to write looks more often
  std::chrono::milliseconds patience{150};  ///< for how long another writer is waited for
};

/// Fills the index of the store's texts. What was done is kept with how far it went, in one transaction for each batch,
/// so a process that is killed, and others that do the same meanwhile, leave nothing out. All throw `StoreError`.
class SearchIndex : public StoreActor<SearchIndexOperations> {
 public:
  static std::shared_ptr<SearchIndex> make(std::shared_ptr<ModelContainer> modelContainer, SearchIndexPace pace = {});
  SearchIndex(std::shared_ptr<ModelContainer> modelContainer, SearchIndexPace pace);
  ~SearchIndex() override;

  /// Takes in the next texts, the newest first, for about a tenth of a second; says whether there are more. Before it
  /// goes on with those, it pauses for as long as they took, so that others can write. Costs nothing where nothing was
  /// stored since it said that there are none. Empties a small index first where too much of it is of texts that are
  /// gone.
  awaitable<bool> takeInSome();
  /// How many entries are still to be taken in: none, or about that many. Of a call that runs its first words count.
  awaitable<std::int64_t> waiting();
  /// How many entries there are, in the index or not.
  awaitable<std::int64_t> entries();
  /// How many times there are words in it of an entry that is gone, or of what a tool call was before it changed.
  awaitable<std::int64_t> outdated();
  /// Empties the index, so that all is to be taken in again.
  awaitable<void> empty();

 private:
  SearchIndexPace pace_;
  std::chrono::steady_clock::time_point nextStep_ = {};
};

}  // namespace ravant
