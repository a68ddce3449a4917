#include "app/session_folders.hpp"

#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

#include "runners/claude/claude_session.hpp"
#include "runners/codex/codex_session.hpp"
#include "runners/pi/pi_session.hpp"

namespace ravant {
namespace {

std::optional<std::filesystem::path> folderOfVariable(const char* name) {
  const char* value = std::getenv(name);
  return value && *value ? std::optional<std::filesystem::path>(value) : std::nullopt;
}

bool isFolder(const std::filesystem::path& path) {
  std::error_code ignored;
  return std::filesystem::is_directory(path, ignored);
}

/// Below the home folder.
std::filesystem::path usualFolder(AgentType type) {
  switch (type) {
    case AgentType::claude:
      return ".claude";
    case AgentType::codex:
      return ".codex";
    case AgentType::pi:
      return ".pi/agent";
    case AgentType::ravant:
    case AgentType::cursor:
      break;
  }
  throw std::logic_error("an agent that keeps no sessions");
}

std::filesystem::path folderOf(const char* variable, const std::filesystem::path& belowHome) {
  if (auto folder = folderOfVariable(variable)) return *std::move(folder);
  const auto home = folderOfVariable("HOME");
  if (!home) throw std::runtime_error("no home folder is known; name the agent's folder with --from");
  return *home / belowHome;
}

SessionListing listOfPi(const std::filesystem::path& folder, bool isOwn) {
  SessionListing listing = listPiSessions(folder / "sessions", PiFolderShape::byProject);
  const auto apart = isOwn ? folderOfVariable("PI_CODING_AGENT_SESSION_DIR") : std::nullopt;
  if (!apart) return listing;
  SessionListing others = listPiSessions(*apart, PiFolderShape::flat);
  std::ranges::move(others.skipped, std::back_inserter(listing.skipped));
  for (ListedSession& other : others.sessions) {
    if (std::ranges::count(listing.sessions, other.id, &ListedSession::id) == 0) {
      listing.sessions.push_back(std::move(other));
    }
  }
  return listing;
}

}  // namespace

bool keepsSessions(AgentType type) {
  return type == AgentType::claude || type == AgentType::codex || type == AgentType::pi;
}

std::filesystem::path sessionFolder(AgentType type) {
  switch (type) {
    case AgentType::claude:
      return folderOf("CLAUDE_CONFIG_DIR", usualFolder(type));
    case AgentType::codex:
      return folderOf("CODEX_HOME", usualFolder(type));
    case AgentType::pi:
      return folderOf("PI_CODING_AGENT_DIR", usualFolder(type));
    case AgentType::ravant:
    case AgentType::cursor:
      break;
  }
  throw std::logic_error("an agent that keeps no sessions");
}

std::string_view nameOfSessions(AgentType type) { return type == AgentType::claude ? "projects" : "sessions"; }

std::optional<std::filesystem::path> folderMeantBy(AgentType type, const std::filesystem::path& from) {
  const std::string_view sessions = nameOfSessions(type);
  if (isFolder(from / sessions)) return std::nullopt;
  const std::filesystem::path usual = usualFolder(type);
  std::vector<std::filesystem::path> candidates = {from / usual, from / usual.filename()};
  // From what is inside.
  for (const std::filesystem::path& part : {from, from.parent_path(), from.parent_path().parent_path()}) {
    if (part.filename() == sessions) candidates.push_back(part.parent_path());
  }
  const auto found =
      std::ranges::find_if(candidates, [&](const auto& candidate) { return isFolder(candidate / sessions); });
  return found == candidates.end() ? std::nullopt : std::optional(std::move(*found));
}

SessionListing listSessions(AgentType type, const std::optional<std::filesystem::path>& from) {
  const std::filesystem::path folder = from ? *from : sessionFolder(type);
  if (type == AgentType::claude) return listClaudeSessions(folder);
  if (type == AgentType::codex) return listCodexSessions(folder);
  return listOfPi(folder, !from);
}

std::unique_ptr<AgentSession> openSession(AgentType type, const ListedSession& session) {
  if (type == AgentType::claude) return std::make_unique<ClaudeSession>();
  if (type == AgentType::codex) return std::make_unique<CodexSession>(session.id);
  return std::make_unique<PiSession>();
}

}  // namespace ravant
