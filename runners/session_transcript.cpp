#include "runners/session_transcript.hpp"

#include <algorithm>
#include <utility>

namespace ravant {
namespace {

// What so many turns do not say is not looked for in those before them.
constexpr int kTurnsOfFigures = 20;

}  // namespace

SessionTranscript::SessionTranscript(const ListedSession& session, std::unique_ptr<AgentSession> agentSession)
    : agentSession_(std::move(agentSession)) {
  for (std::size_t index = 0; index < session.files.size(); ++index) {
    const SessionFile& file = files_.emplace_back(session.files[index].path);
    agentSession_->onFile(session.files[index]);
    end_ = file.eachLine([&](std::string_view line, std::int64_t offset) {
      if (line.find_first_not_of(" \t\r") == std::string_view::npos) return true;
      agentSession_->onLine(line, {.file = index, .offset = offset, .length = line.size()});
      return true;
    });
  }
  outline_ = agentSession_->finish();
  dateFirstRecords();
}

/// Those before any that has a time.
void SessionTranscript::dateFirstRecords() {
  auto& records = outline_.records;
  const auto dated = std::ranges::find_if(records, [](const auto& record) { return record.at != Timestamp{}; });
  const Timestamp first = dated == records.end() ? outline_.begunAt.value_or(Timestamp{}) : dated->at;
  for (auto record = records.begin(); record != dated; ++record) record->at = first;
}

void SessionTranscript::dropLastTurn() {
  auto& records = outline_.records;
  while (!records.empty()) {
    const SessionRecord record = records.back();
    records.pop_back();
    if (record.file + 1 == files_.size()) end_ = record.offset;
    if (record.beginsTurn) break;
  }
  if (!records.empty()) outline_.lastAt = records.back().at;
}

bool SessionTranscript::dropThrough(std::int64_t offset) {
  auto& records = outline_.records;
  const auto last = std::ranges::find_if(
      records, [&](const auto& record) { return record.file + 1 == files_.size() && record.offset == offset; });
  if (last == records.end()) return false;
  records.erase(records.begin(), last + 1);
  droppedThrough_ = offset;
  return true;
}

std::optional<std::int64_t> SessionTranscript::lastRecord() const {
  if (outline_.records.empty()) return droppedThrough_;
  const SessionRecord& last = outline_.records.back();
  return last.file + 1 == files_.size() ? std::optional(last.offset) : std::nullopt;
}

SessionFigures SessionTranscript::lastFigures() const {
  SessionFigures figures;
  const auto& records = outline_.records;
  figures.model = outline_.model;
  int turns = 0;
  const auto isEnough = [&] {
    return figures.hasItems && ((figures.model && figures.usage) || turns >= kTurnsOfFigures);
  };
  for (std::size_t end = records.size(); end > 0 && !isEnough(); ++turns) {
    std::size_t begin = end - 1;
    while (begin > 0 && !records[begin].beginsTurn) --begin;
    SessionItems turn = readTurn(begin, std::exchange(end, begin));
    if (!figures.model) figures.model = turn.model();
    if (!figures.usage && turn.usage()) {
      figures.usage = turn.usage();
      figures.usageAt = turn.usageAt();
      figures.contextWindow = turn.contextWindow();
    }
    figures.hasItems |= !turn.take().empty();
  }
  return figures;
}

Timestamp SessionTranscript::lastPromptAt() const {
  for (std::size_t i = outline_.records.size(); i-- > 0;) {
    if (outline_.records[i].beginsTurn) return outline_.records[i].at;
  }
  return {};
}

std::optional<SessionItems> SessionTranscript::nextTurn() {
  if (next_ == outline_.records.size()) return std::nullopt;
  const std::size_t begin = std::exchange(next_, endOfTurn(next_));
  return readTurn(begin, next_);
}

std::size_t SessionTranscript::endOfTurn(std::size_t begin) const {
  std::size_t end = begin + 1;
  while (end < outline_.records.size() && !outline_.records[end].beginsTurn) ++end;
  return end;
}

SessionItems SessionTranscript::readTurn(std::size_t begin, std::size_t end) const {
  SessionItems items;
  const auto turn = agentSession_->beginTurn();
  for (std::size_t i = begin; i < end; ++i) {
    const SessionRecord& record = outline_.records[i];
    items.setTime(record.at);
    turn->onRecord(files_[record.file].read(record.offset, record.length), items);
  }
  turn->onEnd(items);
  return items;
}

}  // namespace ravant
