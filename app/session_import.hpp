#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <vector>

#include "app/application.hpp"
#include "runners/agent_session.hpp"

namespace ravant {

/// How far an import has come, in sessions.
struct SessionImportProgress {
  std::int64_t done = 0;
  std::int64_t all = 0;
};

struct SessionImportOptions {
  AgentType agent;                            ///< one that keeps sessions
  std::optional<std::filesystem::path> from;  ///< the agent's folder; absent for its own
  std::function<void(SessionImportProgress)> onProgress = {};
};

struct SessionImportResult {
  std::int64_t sessions = 0;       ///< that were found
  std::int64_t conversations = 0;  ///< that were made of them
  std::int64_t grown = 0;          ///< conversations of earlier imports that got more
  std::int64_t known = 0;          ///< sessions that had nothing new, or that this program's own prompts made
  std::int64_t items = 0;
  std::int64_t itemsOfGrown = 0;        ///< those of them that such conversations got
  std::vector<SkippedSession> skipped;  ///< each file and reason once
};

/// Brings in the sessions that an agent keeps on this machine, each by itself, so that whoever ends the program keeps
/// the whole ones that were brought in. Nothing of the agent's is changed or locked.
///
/// A session that was brought in before gets what its file has more, without what this program's own prompts have put
/// there. Where the agent is neither registered nor installed, its conversations belong to the one that is registered
/// later. A last turn that has not ended is left for another import, unless nothing came of it for an hour. Throws
/// `StoreError`.
awaitable<SessionImportResult> importSessions(Application& application, SessionImportOptions options);

}  // namespace ravant
