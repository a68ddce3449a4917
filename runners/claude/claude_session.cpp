#include "runners/claude/claude_session.hpp"

#include <algorithm>
#include <functional>
#include <system_error>
#include <utility>

#include "core/store/transcript_writer.hpp"
#include "runners/claude/claude_turn.hpp"
#include "runners/session_folder.hpp"

namespace ravant {
namespace {

using claude::SessionRole;

std::size_t idOf(std::string_view text) { return std::hash<std::string_view>()(text); }

bool isOfTranscript(SessionRole role) {
  switch (role) {
    case SessionRole::prompt:
    case SessionRole::results:
    case SessionRole::interruption:
    case SessionRole::reply:
    case SessionRole::failure:
    case SessionRole::compaction:
      return true;
    case SessionRole::none:
    case SessionRole::unknown:
    case SessionRole::title:
    case SessionRole::summary:
      return false;
  }
  __builtin_unreachable();
}

/// What a call that the user cut off has as its result.
bool isOfCancelledCall(std::string_view output) {
  return output.starts_with("[Tool call interrupted") || output.starts_with("The user doesn't want to proceed");
}

bool isChangedLater(const std::filesystem::path& one, const std::filesystem::path& other) {
  std::error_code ignored;
  return std::filesystem::last_write_time(one, ignored) > std::filesystem::last_write_time(other, ignored);
}

bool isUsage(const turn::Action& action) {
  const auto* entry = std::get_if<TranscriptAction>(&action);
  return entry && std::holds_alternative<turn::ApplyUsage>(*entry);
}

class ClaudeSessionTurn final : public SessionTurn {
 public:
  void onRecord(std::string_view text, SessionItems& items) override {
    const auto line = claude::parseSessionLine(parser_, text);
    if (!line) return;
    if (line->role == SessionRole::prompt) {
      items.addPrompt(text, line->text);
    } else if (line->role == SessionRole::failure) {
      items.addFailure(text, line->text);
    } else if (line->role == SessionRole::interruption) {
      items.endCalls(kCancelledTool);
    } else {
      std::vector<turn::Action> actions = turn_.onLine(text);
      if (line->isSynthetic) std::erase_if(actions, isUsage);
      apply(std::move(actions), text, items);
    }
  }

  void onEnd(SessionItems& items) override {
    apply(turn_.onCommandEnd(), {}, items);
    items.endCalls(kUnfinishedTool);
  }

 private:
  static void apply(std::vector<turn::Action> actions, std::string_view text, SessionItems& items) {
    for (turn::Action& action : actions) {
      auto* entry = std::get_if<TranscriptAction>(&action);
      auto* message = entry ? std::get_if<turn::AppendAgentMessage>(entry) : nullptr;
      if (message && message->agentModel == claude::kSyntheticModel) message->agentModel.reset();
      auto* result = entry ? std::get_if<turn::CompleteToolInvocation>(entry) : nullptr;
      if (!result || !isOfCancelledCall(result->output)) continue;
      result->output = kCancelledTool;
      result->outcome = ToolOutcome::failed;
    }
    items.apply(std::move(actions), text);
  }

  JsonLineParser parser_;
  ClaudeTurn turn_{std::nullopt, std::nullopt};
};

}  // namespace

SessionListing listClaudeSessions(const std::filesystem::path& folder) {
  SessionListing listing;
  std::unordered_map<std::string, std::size_t> placeOf;
  for (std::filesystem::path& file : sessionFilesIn(folder / "projects", 1, listing.skipped)) {
    std::string id = file.stem();
    const auto [known, isNew] = placeOf.emplace(id, listing.sessions.size());
    if (isNew) {
      listing.sessions.push_back({.id = std::move(id), .files = {{.path = std::move(file)}}});
      continue;
    }
    std::filesystem::path& latest = listing.sessions[known->second].files.back().path;
    if (isChangedLater(file, latest)) std::swap(file, latest);
    listing.skipped.push_back({std::move(file), "another file, which was changed later, holds the same session"});
  }
  return listing;
}

void ClaudeSession::onLine(std::string_view text, SessionRecord place) {
  const auto line = claude::parseSessionLine(parser_, text);
  if (!line) {
    ++outline_.brokenLines;
    return;
  }
  if (line->role == SessionRole::unknown) ++outline_.unknownTypes[line->type];
  if (line->role == SessionRole::title) {
    outline_.title = line->text;
    hasName_ = true;
  }
  if (line->role == SessionRole::summary) summaries_.emplace_back(idOf(line->leaf), line->text);
  if (line->isSidechain) return;
  outline_.hasTalk |= isOfTranscript(line->role);
  if (line->uuid.empty()) return;

  Node node{.id = idOf(line->uuid),
            .parent = line->parent.empty() ? 0 : idOf(line->parent),
            .role = line->role,
            .takesPlace = line->isCommand || (line->role == SessionRole::prompt && !line->isQueued),
            .record = place};
  if (!nodeOf_.emplace(node.id, nodes_.size()).second) return;
  if (!line->workingDirectory.empty()) outline_.workingDirectory = line->workingDirectory;
  node.record.at = line->at.value_or(outline_.lastAt.value_or(Timestamp{}));
  if (isOfTranscript(line->role)) {
    if (!outline_.begunAt) outline_.begunAt = line->at;
    if (line->at) outline_.lastAt = std::max(*line->at, outline_.lastAt.value_or(*line->at));
    follow(*line);
  }
  nodes_.push_back(std::move(node));
}

/// What calls come to, and whether the turn is over with this line, as far as can be told.
void ClaudeSession::follow(const claude::SessionLine& line) {
  const std::size_t place = nodes_.size();
  for (const std::string& call : line.calls) {
    openCalls_.insert_or_assign(call, place);
    leftCalls_.erase(call);
  }
  for (const std::string& call : line.results) {
    auto open = openCalls_.extract(call);
    if (!open) open = leftCalls_.extract(call);
    if (open) endedCalls_.emplace_back(open.mapped(), place);
  }
  const bool isPrompt = line.role == SessionRole::prompt && !line.isQueued;
  if (isPrompt || line.role == SessionRole::interruption) leftCalls_.merge(openCalls_);
  const bool isReplyLast = line.isLastReply && openCalls_.empty();
  outline_.isLastTurnOver = isReplyLast || line.role == SessionRole::failure || line.role == SessionRole::compaction ||
                            line.role == SessionRole::interruption;
}

SessionOutline ClaudeSession::finish() {
  const std::vector<bool> isTakenBack = takenBack();
  const std::vector<bool> isAmongCalls = amongCalls();
  for (std::size_t i = 0; i < nodes_.size(); ++i) {
    if (!isOfTranscript(nodes_[i].role) || isTakenBack[i]) continue;
    outline_.records.push_back(nodes_[i].record);
    outline_.records.back().beginsTurn = nodes_[i].role == SessionRole::prompt && !isAmongCalls[i];
  }
  for (auto& [leaf, summary] : summaries_) {
    if (!hasName_ && nodeOf_.contains(leaf)) outline_.title = std::move(summary);
  }
  nodes_ = {};
  nodeOf_ = {};
  return std::move(outline_);
}

std::string ClaudeSession::typedWords(std::string_view prompt) const {
  return std::string(claude::withoutSurroundings(prompt));
}

/// By the places of the nodes: the prompts that were taken back, and what goes on from them.
std::vector<bool> ClaudeSession::takenBack() const {
  std::unordered_map<LineId, std::size_t> lastFrom;
  for (std::size_t i = 0; i < nodes_.size(); ++i) {
    if (nodes_[i].takesPlace) lastFrom[nodes_[i].parent] = i;
  }
  std::vector<bool> isTakenBack(nodes_.size());
  for (std::size_t i = 0; i < nodes_.size(); ++i) {
    const Node& node = nodes_[i];
    const auto parent = nodeOf_.find(node.parent);
    // A line stands behind the one that it goes on from.
    const bool isBehind = parent != nodeOf_.end() && parent->second < i && isTakenBack[parent->second];
    const auto last = node.role == SessionRole::prompt ? lastFrom.find(node.parent) : lastFrom.end();
    isTakenBack[i] = isBehind || (last != lastFrom.end() && last->second > i);
  }
  return isTakenBack;
}

/// By the places of the nodes: those between a call and its result, or behind one that runs. A prompt that waited for
/// it can be there.
std::vector<bool> ClaudeSession::amongCalls() const {
  std::vector<int> change(nodes_.size() + 1);
  for (const auto& [call, result] : endedCalls_) {
    ++change[call];
    --change[result];
  }
  for (const auto& [id, call] : openCalls_) ++change[call];
  std::vector<bool> isAmong(nodes_.size());
  for (std::size_t i = 0, open = 0; i < nodes_.size(); ++i) {
    open += static_cast<std::size_t>(change[i]);
    isAmong[i] = open > 0;
  }
  return isAmong;
}

std::unique_ptr<SessionTurn> ClaudeSession::beginTurn() const {
  // Its parsers' buffers need no zeros.
  return std::make_unique_for_overwrite<ClaudeSessionTurn>();
}

}  // namespace ravant
