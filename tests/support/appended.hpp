#pragma once

#include "core/store/transcript_import.hpp"
#include "tests/support/run.hpp"

namespace ravant::test {

/// Adds to the conversation from where its session was read, or was not yet. `before`: as it is stored, where that is
/// something else.
inline std::optional<std::int64_t> append(TranscriptImport& import, const Conversation& after, NextImportedItem next,
                                          const ImportedSession& read,
                                          const std::optional<Conversation>& before = std::nullopt) {
  const auto known = run(import.knownSession(read.agent, read.sessionId));
  return run(import.append({.before = before.value_or(after),
                            .after = after,
                            .readBefore = known ? known->imported : std::nullopt,
                            .read = read},
                           std::move(next)));
}

}  // namespace ravant::test
