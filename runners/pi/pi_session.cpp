#include "runners/pi/pi_session.hpp"

#include <fmt/ranges.h>

#include <algorithm>
#include <functional>
#include <map>
#include <utility>

#include "core/store/transcript_writer.hpp"
#include "platform/text/text.hpp"
#include "runners/pi/pi_turn.hpp"
#include "runners/session_file.hpp"
#include "runners/session_folder.hpp"

namespace ravant {
namespace {

using pi::SessionRole;

std::size_t idOf(std::string_view text) { return std::hash<std::string_view>()(text); }

bool isOfTranscript(SessionRole role) {
  return role == SessionRole::prompt || role == SessionRole::reply || role == SessionRole::result ||
         role == SessionRole::compaction;
}

class PiSessionTurn final : public SessionTurn {
 public:
  void onRecord(std::string_view text, SessionItems& items) override {
    const json::object* object = asObject(parser_.parse(text));
    const auto line = object ? pi::parseSessionEntry(*object) : std::nullopt;
    if (!line) return;
    if (line->role == SessionRole::prompt) {
      items.addPrompt(text, line->text);
      return;
    }
    isInterrupted_ = line->role == SessionRole::reply && line->isInterrupted;
    if (line->role == SessionRole::reply) lastReply_ = text;
    items.apply(turn_.onObject(*object, text), text);
    if (isInterrupted_) items.endCalls(kCancelledTool);
  }

  void onEnd(SessionItems& items) override {
    std::vector<turn::Action> actions = turn_.onCommandEnd();
    if (isInterrupted_) {
      std::erase_if(actions, [](const turn::Action& action) { return std::holds_alternative<turn::Fail>(action); });
    }
    items.apply(std::move(actions), lastReply_);
    items.endCalls(kUnfinishedTool);
  }

 private:
  JsonLineParser parser_;
  PiTurn turn_{std::nullopt};
  std::string lastReply_;  ///< its line
  bool isInterrupted_ = false;
};

}  // namespace

SessionListing listPiSessions(const std::filesystem::path& folder, PiFolderShape shape) {
  SessionListing listing;
  std::map<std::string, std::size_t> placeOf;
  JsonLineParser parser;
  for (std::filesystem::path& path :
       sessionFilesIn(folder, shape == PiFolderShape::byProject ? 1 : 0, listing.skipped)) {
    try {
      const auto first = SessionFile(path).firstLine();
      const auto header = first ? pi::parseSessionEntry(parser, *first) : std::nullopt;
      if (!header || header->role != SessionRole::header || header->id.empty()) {
        listing.skipped.push_back({std::move(path), "its first line does not say which session it is"});
      } else if (placeOf.contains(header->id)) {
        listing.skipped.push_back({std::move(path), "another file holds the same session"});
      } else {
        placeOf.emplace(header->id, listing.sessions.size());
        listing.sessions.push_back({.id = header->id, .files = {{.path = std::move(path)}}});
      }
    } catch (const std::filesystem::filesystem_error& error) {
      listing.skipped.push_back({std::move(path), error.code().message()});
    }
  }
  return listing;
}

void PiSession::onLine(std::string_view text, SessionRecord place) {
  const auto line = pi::parseSessionEntry(parser_, text);
  if (!line) {
    ++outline_.brokenLines;
    return;
  }
  if (line->role == SessionRole::header) {
    outline_.workingDirectory = line->workingDirectory;
    outline_.begunAt = line->at;
    return;
  }
  if (line->role == SessionRole::unknown) ++outline_.unknownTypes[line->type];
  if (line->role == SessionRole::name && !line->text.empty()) outline_.title = line->text;
  if (!line->model.empty()) outline_.model = line->model;
  if (line->role == SessionRole::correction) takenBack_.insert(idOf(line->target));
  outline_.hasTalk |= isOfTranscript(line->role);
  if (line->id.empty()) return;
  Entry entry{.id = idOf(line->id),
              .parent = line->parent.empty() ? 0 : idOf(line->parent),
              .role = line->role,
              .record = place,
              .isLastReply = line->isLastReply};
  entry.record.at = line->at.value_or(outline_.lastAt.value_or(Timestamp{}));
  entry.record.beginsTurn = line->role == SessionRole::prompt;
  if (line->at) outline_.lastAt = std::max(*line->at, outline_.lastAt.value_or(*line->at));
  entryOf_[entry.id] = entries_.size();
  entries_.push_back(entry);
}

SessionOutline PiSession::finish() {
  const Entry* last = nullptr;
  for (std::size_t i = entries_.size(); i-- > 0;) {
    const Entry& entry = entries_[i];
    if (isOfTranscript(entry.role) && !takenBack_.contains(entry.id)) {
      if (!last) last = &entry;
      outline_.records.push_back(entry.record);
    }
    const auto parent = entryOf_.find(entry.parent);
    // An entry stands behind the one that it goes on from.
    if (parent == entryOf_.end() || parent->second >= i) break;
    i = parent->second + 1;
  }
  std::ranges::reverse(outline_.records);
  const bool isReplyLast = last && last->role == SessionRole::reply && last->isLastReply;
  outline_.isLastTurnOver = !last || isReplyLast || last->role == SessionRole::compaction;
  entries_ = {};
  entryOf_ = {};
  return std::move(outline_);
}

std::string PiSession::typedWords(std::string_view prompt) const {
  std::vector<std::string> files;
  while (auto file = pi::fileBefore(prompt)) {
    files.push_back(std::filesystem::path(file->path).filename());
    prompt = file->rest;
  }
  const bool isTyped = files.empty() || !trimmed(prompt).empty();
  return isTyped ? std::string(prompt) : fmt::format("{}", fmt::join(files, ", "));
}

std::unique_ptr<SessionTurn> PiSession::beginTurn() const {
  // Its parsers' buffers need no zeros.
  return std::make_unique_for_overwrite<PiSessionTurn>();
}

}  // namespace ravant
