#include "runners/codex/codex_session.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <ranges>
#include <set>
#include <tuple>

#include "runners/codex/codex_session_turn.hpp"
#include "runners/session_file.hpp"
#include "runners/session_folder.hpp"

namespace ravant {
namespace {

using codex::SessionRole;

constexpr std::size_t kIdLength = 36;

bool isOld(SessionRole role) {
  return role == SessionRole::oldPrompt || role == SessionRole::oldMessage || role == SessionRole::oldCompaction;
}

struct ThreadFile {
  std::filesystem::path path;
  codex::SessionMeta meta;
  bool isArchived = false;
};

/// By which another file refers to it: the last id of its name.
std::string fileId(const std::filesystem::path& path) {
  const std::string stem = path.stem();
  return stem.size() > kIdLength ? stem.substr(stem.size() - kIdLength) : stem;
}

bool isOlder(const ThreadFile& one, const ThreadFile& other) {
  const auto rank = [](const ThreadFile& file) { return std::tuple(file.meta.at, file.path.filename()); };
  return rank(one) < rank(other);
}

std::vector<ThreadFile> threadFiles(const std::filesystem::path& folder, std::vector<SkippedSession>& skipped) {
  std::vector<ThreadFile> files;
  JsonLineParser parser;
  const auto take = [&](std::filesystem::path path, bool isArchived) {
    try {
      const auto first = SessionFile(path).firstLine();
      auto meta = first ? codex::parseSessionMeta(parser, *first) : std::nullopt;
      if (meta) {
        files.push_back({.path = std::move(path), .meta = *std::move(meta), .isArchived = isArchived});
      } else {
        skipped.push_back({std::move(path), "its first line does not say which session it is"});
      }
    } catch (const std::filesystem::filesystem_error& error) {
      skipped.push_back({std::move(path), error.code().message()});
    }
  };
  for (auto& path : sessionFilesIn(folder / "sessions", 3, skipped)) take(std::move(path), false);
  for (auto& path : sessionFilesIn(folder / "archived_sessions", 0, skipped)) take(std::move(path), true);
  return files;
}

std::map<std::string, std::string> threadNames(const std::filesystem::path& folder) {
  std::map<std::string, std::string> names;
  const std::filesystem::path index = folder / "session_index.jsonl";
  std::error_code ignored;
  if (!std::filesystem::exists(index, ignored)) return names;
  JsonLineParser parser;
  SessionFile(index).eachLine([&](std::string_view line, std::int64_t) {
    if (auto name = codex::parseThreadName(parser, line)) names[name->threadId] = std::move(name->name);
    return true;
  });
  return names;
}

/// The file and those before it, the first one first.
std::vector<SessionFileRef> chainOf(const ThreadFile& newest, const std::map<std::string, const ThreadFile*>& byId,
                                    std::vector<SkippedSession>& skipped) {
  std::vector<SessionFileRef> chain = {{.path = newest.path}};
  std::set<const ThreadFile*> seen = {&newest};
  for (const ThreadFile* file = &newest; file->meta.base;) {
    const codex::SessionBase& base = *file->meta.base;
    const auto found = byId.find(base.file);
    if (found == byId.end() || !seen.insert(found->second).second) {
      skipped.push_back({file->path, fmt::format("the file that it goes on from is missing ({})", base.file)});
      break;
    }
    file = found->second;
    chain.push_back({.path = file->path, .endOrdinal = base.endOrdinal, .endByte = base.endByte});
  }
  std::ranges::reverse(chain);
  return chain;
}

}  // namespace

SessionListing listCodexSessions(const std::filesystem::path& folder) {
  SessionListing listing;
  const std::vector<ThreadFile> files = threadFiles(folder, listing.skipped);
  std::map<std::string, std::string> names;
  try {
    names = threadNames(folder);
  } catch (const std::filesystem::filesystem_error& error) {
    listing.skipped.push_back({error.path1(), error.code().message()});
  }
  std::map<std::string, const ThreadFile*> byId;
  std::map<std::string, const ThreadFile*> newestOfThread;
  for (const ThreadFile& file : files) {
    byId.emplace(fileId(file.path), &file);
    if (file.meta.isOfSubagent) continue;
    const ThreadFile*& newest = newestOfThread[file.meta.threadId];
    if (!newest || isOlder(*newest, file)) newest = &file;
  }
  for (const auto& [id, newest] : newestOfThread) {
    ListedSession session{.id = id, .files = chainOf(*newest, byId, listing.skipped), .isArchived = newest->isArchived};
    if (const auto name = names.find(id); name != names.end()) session.title = name->second;
    listing.sessions.push_back(std::move(session));
  }
  return listing;
}

void CodexSession::onFile(const SessionFileRef& file) {
  file_ = file;
  hasItems_ = false;
}

void CodexSession::onLine(std::string_view text, SessionRecord place) {
  const auto line = codex::parseSessionLine(parser_, text);
  if (!line) {
    ++outline_.brokenLines;
    return;
  }
  if (isBeyondEnd(*line, place)) return;
  if (line->role == SessionRole::unknown) ++outline_.unknownTypes[line->type];
  if (line->role == SessionRole::meta) onMeta(text);
  if (!line->workingDirectory.empty()) outline_.workingDirectory = line->workingDirectory;
  if (!line->model.empty()) outline_.model = line->model;
  if (line->role == SessionRole::none || line->role == SessionRole::unknown || line->role == SessionRole::meta) return;
  const bool isPrompt = line->role == SessionRole::prompt || line->role == SessionRole::oldPrompt;
  place.at = line->at.value_or(outline_.lastAt.value_or(Timestamp{}));
  place.beginsTurn = line->role == SessionRole::turnStart || (isPrompt && !isTurnRunning_);
  if (line->at) outline_.lastAt = std::max(*line->at, outline_.lastAt.value_or(*line->at));
  if (line->role == SessionRole::prompt || line->role == SessionRole::item) onItem();
  outline_.hasTalk |= isPrompt || line->role == SessionRole::item || line->role == SessionRole::oldMessage;
  follow(*line, text);
  if (line->role == SessionRole::output && !knowledge_->callsBeforeItems.contains(line->callId)) return;
  candidates_.push_back({.record = place, .role = line->role, .isBeforeItems = !hasItems_});
}

/// The turn under way has them from its beginning.
void CodexSession::onItem() {
  if (std::exchange(hasItems_, true)) return;
  for (Candidate& candidate : candidates_ | std::views::reverse) {
    if (candidate.record.file != candidates_.back().record.file) break;
    candidate.isBeforeItems = false;
    if (candidate.record.beginsTurn) break;
  }
}

bool CodexSession::isBeyondEnd(const codex::SessionLine& line, const SessionRecord& place) const {
  if (file_.endOrdinal && line.ordinal) return *line.ordinal >= *file_.endOrdinal;
  return file_.endByte && place.offset >= *file_.endByte;
}

void CodexSession::onMeta(std::string_view text) {
  const auto meta = codex::parseSessionMeta(parser_, text);
  if (!meta) return;
  hasItems_ |= meta->hasItems;
  if (meta->threadId == threadId_ && !outline_.begunAt) outline_.begunAt = meta->at;
}

/// Whether the turn is over with this line, as far as can be told, and what its calls come to.
void CodexSession::follow(const codex::SessionLine& line, std::string_view text) {
  switch (line.role) {
    case SessionRole::turnStart:
      isTurnRunning_ = true;
      outline_.isLastTurnOver = false;
      break;
    case SessionRole::turnEnd:
    case SessionRole::turnAbort:
      isTurnRunning_ = false;
      openCalls_.clear();
      endedTurns_.insert(line.turnId);
      outline_.isLastTurnOver = true;
      break;
    case SessionRole::prompt:
    case SessionRole::oldPrompt:
      outline_.isLastTurnOver = false;
      openCalls_.clear();
      break;
    case SessionRole::item:
      if (!endedTurns_.contains(line.turnId)) {
        knowledge_->callsOfItems.insert(line.callId);
      } else if (!line.isEmptyFailure) {
        knowledge_->itemsAfterEnds.insert_or_assign(line.callId, std::string(text));
      }
      break;
    case SessionRole::call:
      openCalls_.insert(line.callId);
      if (line.isCommand) knowledge_->commands.insert(line.callId);
      if (!hasItems_) knowledge_->callsBeforeItems.insert(line.callId);
      break;
    case SessionRole::output:
      openCalls_.erase(line.callId);
      if (line.isNeverShown) knowledge_->unshownCalls.insert(line.callId);
      break;
    case SessionRole::oldMessage:
      if (!isTurnRunning_ && openCalls_.empty()) outline_.isLastTurnOver = true;
      break;
    default:
      break;
  }
}

SessionOutline CodexSession::finish() {
  knowledge_->model = outline_.model.value_or("");
  bool wasTurnBegun = false;
  for (const Candidate& candidate : std::exchange(candidates_, {})) {
    wasTurnBegun |= candidate.record.beginsTurn;
    if (isOld(candidate.role) && !candidate.isBeforeItems) continue;
    outline_.records.push_back(candidate.record);
    outline_.records.back().beginsTurn = std::exchange(wasTurnBegun, false);
  }
  return std::move(outline_);
}

std::string CodexSession::typedWords(std::string_view prompt) const {
  return std::string(codex::withoutSurroundings(prompt));
}

std::unique_ptr<SessionTurn> CodexSession::beginTurn() const { return makeCodexSessionTurn(knowledge_); }

}  // namespace ravant
