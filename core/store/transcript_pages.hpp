#pragma once

#include <optional>
#include <vector>

#include "core/store/transcript_reader.hpp"

namespace ravant {

/// A transcript from some place to its end, page by page, in memory for one page. What is added meanwhile comes too.
class TranscriptPages {
 public:
  /// Begins behind `after`, an item of the conversation; at the beginning where it is absent.
  TranscriptPages(TranscriptReader& reader, ConversationId conversation, std::optional<ConversationItemId> after = {})
      : reader_(reader), conversation_(conversation), last_(after) {}

  /// Oldest first; empty at the end. Throws `StoreError`, and `std::runtime_error` where what was read before is
  /// removed meanwhile, so that the end cannot be told from a hole.
  awaitable<std::vector<ConversationItem>> next();

 private:
  TranscriptReader& reader_;
  ConversationId conversation_;
  std::optional<ConversationItemId> last_;
};

}  // namespace ravant
