#pragma once

#include <map>
#include <mutex>
#include <optional>
#include <string>

#include "core/id.hpp"
#include "core/prompt_outcome.hpp"
#include "platform/clock/clock.hpp"

namespace ravant {

/// How a run ended.
struct RunEnd {
  std::string unfinishedToolOutput;      ///< of the tool calls that still run: they fail
  std::optional<PromptOutcome> outcome;  ///< of its prompt
  Timestamp at;
};

/// The runs of this process that are over, but whose end could not be stored: their marks still stand in the store.
/// Usable from any thread.
class UnstoredEnds {
 public:
  void add(ConversationId id, RunEnd end);
  void remove(ConversationId id);
  std::optional<RunEnd> find(ConversationId id) const;

 private:
  mutable std::mutex mutex_;
  std::map<ConversationId, RunEnd> ends_;
};

}  // namespace ravant
