#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string_view>

#include "core/agent_type.hpp"
#include "runners/agent_session.hpp"

namespace ravant {

/// Whether the agent keeps its sessions in files that can be brought in.
bool keepsSessions(AgentType type);

/// Where the agent's files are: the folder that the environment names (`CLAUDE_CONFIG_DIR`, `CODEX_HOME`,
/// `PI_CODING_AGENT_DIR`), else the usual one of the home folder. Throws `std::runtime_error` where no home folder is
/// known.
std::filesystem::path sessionFolder(AgentType type);

/// The folder inside the agent's own that has its sessions.
std::string_view nameOfSessions(AgentType type);

/// The folder, near `from`, that has sessions of the agent where `from` itself can have none. Blocks.
std::optional<std::filesystem::path> folderMeantBy(AgentType type, const std::filesystem::path& from);

/// The sessions of the agent in its folder `from`, else in its own, with those of Pi that `PI_CODING_AGENT_SESSION_DIR`
/// keeps elsewhere. Blocks.
SessionListing listSessions(AgentType type, const std::optional<std::filesystem::path>& from);

/// What makes the session's transcript.
std::unique_ptr<AgentSession> openSession(AgentType type, const ListedSession& session);

}  // namespace ravant
