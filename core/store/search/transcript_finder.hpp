#pragma once

#include <memory>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

#include "core/store/search/search_reader.hpp"

namespace ravant {

class TranscriptFindings;

enum class FindDirection { next, previous };

/// Finds characters that stand one behind the other in a conversation, whatever their case and accents. Needs no
/// index, and memory for one entry. It looks at all of a conversation, which can take seconds, and ends with what it
/// has soon after `stop` was requested. All throw `StoreError`.
class TranscriptFinder : public StoreActor<TranscriptFindings> {
 public:
  static std::shared_ptr<TranscriptFinder> make(std::shared_ptr<ModelContainer> modelContainer);
  explicit TranscriptFinder(std::shared_ptr<ModelContainer> modelContainer);
  ~TranscriptFinder() override;

  /// The next item in which they stand. Beyond the end it goes on at the other one, up to the item it came from;
  /// without one it begins at the first, or at the last where it goes backwards. Of a group it tells the call.
  awaitable<std::optional<SearchHit>> find(ConversationId conversation, std::string text,
                                           std::optional<ConversationItemId> from, FindDirection direction,
                                           std::stop_token stop = {});

  static constexpr std::size_t kMostPlaces = 400;
  /// How many items `find` goes through, and which of them, counted from 1, `item` is.
  struct Count {
    std::int64_t items = 0;
    std::optional<std::int64_t> position = {};
    /// Where they stand in the conversation, in order, from 0, the beginning, to 1: of those that are closer to each
    /// other than a `kMostPlaces`th, the first.
    std::vector<double> places = {};

    bool operator==(const Count&) const = default;
  };
  awaitable<Count> count(ConversationId conversation, std::string text, std::optional<ConversationItemId> item = {},
                         std::stop_token stop = {});
};

}  // namespace ravant
