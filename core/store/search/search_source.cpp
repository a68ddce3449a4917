#include "core/store/search/search_source.hpp"

#include <fmt/format.h>

#include <cstdlib>
#include <optional>
#include <ranges>
#include <utility>

#include "core/store/search/search_index.hpp"
#include "core/store/search/searched_text.hpp"
#include "core/store/search/text_units.hpp"
#include "platform/text/utf8.hpp"

namespace ravant {
namespace {

constexpr std::size_t kBatchBytes = 2 * 1024 * 1024;
constexpr std::chrono::milliseconds kBatchTime{60};
constexpr std::int64_t kMostRemoved = 8;        // one of so many entries
constexpr std::int64_t kMostMadeAnew = 10'000;  // entries, without being asked

/// The words of one entry.
class Words {
 public:
  explicit Words(std::size_t most) : most_(most) {}

  void mark(std::string_view word) { words_.append(word) += ' '; }
  void add(std::string_view text) {
    const std::string_view taken = utf8Prefix(text, most_ - std::min(most_, bytes_));
    if (taken.size() < text.size() && !std::exchange(isCut_, true)) mark(search_word::kCut);
    appendIndexWords(taken, words_);
    bytes_ += taken.size();
  }

  /// Of texts, which as JSON have words that are not those that they say.
  void addStored(std::string_view text) {
    std::string room;
    add(searchedText(text, room));
  }

  std::size_t bytes() const { return bytes_; }
  std::string take() { return std::move(words_); }

 private:
  std::size_t most_;  ///< bytes that are indexed
  std::string words_;
  std::size_t bytes_ = 0;
  bool isCut_ = false;
};

std::string select(SearchSource source, std::string_view rest) {
  constexpr std::string_view kItems =
      "SELECT entry.id, conversation.project_id, coalesce(agent.type_raw, conversation.agent_type), entry.created_at, "
      "entry.kind, entry.text, EXISTS (SELECT 1 FROM message_block WHERE message_id = entry.id AND kind = 'code') FROM "
      "conversation_item AS entry";
  constexpr std::string_view kInvocations =
      "SELECT entry.id, conversation.project_id, coalesce(agent.type_raw, conversation.agent_type), entry.created_at, "
      "entry.status_raw_value, entry.tool_name, entry.text, entry.input, entry.output FROM tool_invocation AS entry";
  return fmt::format(
      "{} JOIN conversation ON conversation.id = entry.conversation_id "
      "LEFT JOIN agent ON agent.id = conversation.agent_id WHERE {}",
      source == SearchSource::item ? kItems : kInvocations, rest);
}

Words wordsOf(SearchSource source, const sqlite::Query& row, std::size_t most) {
  Words words(most);
  words.mark(search_word::project(row.int64(1)));
  if (!row.isNull(2)) words.mark(search_word::agent(row.text(2)));
  words.mark(search_word::week(row.int64(3) / kSearchWeek));
  if (source == SearchSource::item) {
    words.mark(search_word::kind(row.text(4)));
    words.add(row.text(5));
    if (row.boolean(6)) words.mark(search_word::kCode);
  } else {
    if (row.text(4) == "failed") words.mark(search_word::kFailed);
    words.add(row.text(5));
    words.add(row.text(6));
    if (!row.isNull(7)) words.addStored(row.text(7));
    if (!row.isNull(8)) words.addStored(row.text(8));
  }
  return words;
}

void add(SearchSource source, const sqlite::Query& row, SearchBatch& batch) {
  Words words = wordsOf(source, row, batch.entryBytes());
  const std::size_t bytes = words.bytes();
  batch.add({.id = row.int64(0), .week = row.int64(3) / kSearchWeek, .words = words.take()}, bytes);
}

}  // namespace

namespace search_word {

std::string project(std::int64_t row) { return fmt::format("\uE000p{}", row); }
std::string agent(std::string_view type) { return fmt::format("\uE000a{}", type); }
std::string kind(std::string_view kind) { return fmt::format("\uE000k{}", kind); }
/// Without a sign, which would part the word.
std::string week(std::int64_t week) { return fmt::format("\uE000{}{}", week < 0 ? 'v' : 'w', std::abs(week)); }

}  // namespace search_word

bool SearchProgress::isWorn() const {
  const std::int64_t indexed = upTo - above;
  return indexed <= kMostMadeAnew && removed * kMostRemoved > indexed;
}

bool SearchBatch::isFull() const {
  return count_ >= most_ || bytes_ >= kBatchBytes || std::chrono::steady_clock::now() - begun_ >= kBatchTime;
}

void SearchBatch::add(Entry entry, std::size_t bytes) {
  ++count_;
  bytes_ += bytes;
  if (bytes > 0) entries_.push_back(std::move(entry));
}

std::vector<SearchBatch::Entry> SearchBatch::take() {
  std::ranges::sort(entries_, {}, &Entry::id);
  return std::exchange(entries_, {});
}

SearchSourceTable::SearchSourceTable(StoreConnection& store, SearchSource source)
    : source_(source),
      progress_(store.prepare(fmt::format(
          "SELECT above, up_to, removed, (SELECT coalesce(max(id), 0) FROM {}) FROM search_progress WHERE source = ?",
          source == SearchSource::item ? "conversation_item" : "tool_invocation"))),
      setProgress_(store.prepare("UPDATE search_progress SET above = ?, up_to = ? WHERE source = ?")),
      newer_(store.prepare(select(source, "entry.id > ? ORDER BY entry.id"))),
      older_(store.prepare(select(source, "entry.id <= ? ORDER BY entry.id DESC"))),
      one_(store.prepare(select(source, "entry.id = ?"))),
      insert_(store.prepare(fmt::format("INSERT INTO search_{} (rowid, words) VALUES (?, ?)", rawValue(source)))),
      wear_(store.prepare("UPDATE search_progress SET removed = removed + 1 WHERE source = ?")),
      addWeek_(store.prepare("INSERT INTO search_week VALUES (?, ?) ON CONFLICT DO NOTHING")) {}

SearchProgress SearchSourceTable::progress() {
  auto row = progress_.query(rawValue(source_));
  row.step();
  return {.above = row.int64(0), .upTo = row.int64(1), .removed = row.int64(2), .newest = row.int64(3)};
}

bool SearchSourceTable::takeInNewer(SearchBatch& batch) {
  SearchProgress reached = progress();
  bool isAll = true;
  {
    auto row = newer_.query(reached.upTo);
    while (isAll && row.step()) {
      reached.upTo = row.int64(0);
      add(source_, row, batch);
      isAll = !batch.isFull();
    }
  }
  keep(batch, reached);
  return isAll;
}

bool SearchSourceTable::takeInOlder(SearchBatch& batch) {
  SearchProgress reached = progress();
  if (reached.above == 0) return true;
  {
    auto row = older_.query(reached.above);
    while (reached.above > 0 && !batch.isFull()) {
      const bool isThere = row.step();
      reached.above = isThere ? row.int64(0) - 1 : 0;
      if (isThere) add(source_, row, batch);
    }
  }
  keep(batch, reached);
  return reached.above == 0;
}

void SearchSourceTable::takeInAgain(std::int64_t id, SearchBatch& batch) {
  {
    auto row = one_.query(id);
    if (!row.step()) return;
    add(source_, row, batch);
  }
  insert(batch);
  wear_.run(rawValue(source_));
}

void SearchSourceTable::keep(SearchBatch& batch, const SearchProgress& reached) {
  insert(batch);
  setProgress_.run(reached.above, reached.upTo, rawValue(source_));
}

void SearchSourceTable::insert(SearchBatch& batch) {
  std::optional<std::int64_t> known;
  for (const SearchBatch::Entry& entry : batch.take()) {
    insert_.run(entry.id, entry.words);
    if (std::exchange(known, entry.week) != entry.week) addWeek_.run(rawValue(source_), entry.week);
  }
}

}  // namespace ravant
