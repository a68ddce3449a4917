#include "core/store/search/search_reader.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <functional>
#include <limits>
#include <tuple>
#include <utility>

#include "core/store/row_values.hpp"
#include "core/store/search/search_index.hpp"
#include "core/store/search/search_letter.hpp"
#include "core/store/search/search_source.hpp"
#include "core/store/search/searched_text.hpp"
#include "core/store/store_connection.hpp"

namespace ravant {
namespace {

constexpr std::int64_t kLeastRated = 60;
constexpr std::int64_t kLeastLookedAt = 200;  // of what the index says, where fewer match
constexpr std::size_t kFew = 1000;            // that are put in order by their times
constexpr std::array<std::string_view, kSearchKinds.size()> kKindWords = {
    "userMessage",  "agentMessage", "toolInvocationGroup", "compactionEvent",
    "failureEvent", "code",         "toolInput",           "toolOutput"};

constexpr std::string_view kConditions =
    "JOIN conversation ON conversation.id = entry.conversation_id AND conversation.importer IS NULL "
    "LEFT JOIN agent ON agent.id = conversation.agent_id "
    "WHERE (?2 IS NULL OR entry.created_at >= ?2) AND (?3 IS NULL OR entry.created_at < ?3) "
    "AND (?4 IS NULL OR conversation.project_id = ?4) AND (?5 IS NULL OR coalesce(agent.type_raw, "
    "conversation.agent_type) = ?5) ";

std::string_view tableOf(SearchSource source) {
  return source == SearchSource::item ? "conversation_item" : "tool_invocation";
}

std::string selectEntry(SearchSource source) {
  const bool isItem = source == SearchSource::item;
  const std::string_view columns =
      isItem
          ? "entry.id, NULL, entry.kind, entry.text, NULL, NULL, NULL"
          : "entry.group_id, entry.id, 'toolInvocationGroup', entry.tool_name, entry.text, entry.input, entry.output";
  const std::string_view filter =
      isItem ? "(?6 IS NULL OR entry.kind = ?6)" : "(?6 IS NULL OR entry.status_raw_value = ?6)";
  return fmt::format("SELECT conversation.uuid, entry.created_at, {} FROM {} AS entry {}AND {} AND entry.id = ?1",
                     columns, tableOf(source), kConditions, filter);
}

/// The statements for one of the sources.
struct SourceReadings {
  SourceReadings(StoreConnection& store, SearchSource which)
      : source(which),
        ids(store.prepare(
            fmt::format("SELECT rowid FROM search_{0} WHERE search_{0} MATCH ? ORDER BY rowid DESC", rawValue(which)))),
        createdAt(store.prepare(fmt::format("SELECT created_at FROM {} WHERE id = ?", tableOf(which)))),
        entry(store.prepare(selectEntry(which))) {}

  SearchSource source;
  sqlite::Statement ids;
  sqlite::Statement createdAt;
  sqlite::Statement entry;
};

struct Candidate {
  SearchHit hit;
  double score;
};

/// What a query says about one of the sources; nothing where that one cannot have any hits.
struct Narrowing {
  std::string words;                       ///< for the index, behind those of the pattern
  std::optional<std::string_view> filter;  ///< an item's kind or a tool call's status
  std::optional<SearchKind> part = {};
};

std::optional<Narrowing> narrowed(SearchSource source, const SearchQuery& query) {
  Narrowing narrowing;
  const auto require = [&](std::string_view word) { narrowing.words += fmt::format(" AND \"{}\"", word); };
  if (query.agent) require(search_word::agent(rawValue(*query.agent)));
  if (source == SearchSource::item) {
    if (query.tools == ToolFilter::failed) return std::nullopt;
    if (!query.kind) return narrowing;
    switch (*query.kind) {
      case SearchKind::toolInvocationGroup:
      case SearchKind::toolInput:
      case SearchKind::toolOutput:
        return std::nullopt;
      case SearchKind::code:
        require(search_word::kCode);
        narrowing.part = query.kind;
        return narrowing;
      case SearchKind::userMessage:
      case SearchKind::agentMessage:
      case SearchKind::compactionEvent:
      case SearchKind::failureEvent:
        require(search_word::kind(rawValue(*query.kind)));
        narrowing.filter = rawValue(*query.kind);
        return narrowing;
    }
  }
  const bool isOfTools = !query.kind || *query.kind == SearchKind::toolInvocationGroup ||
                         *query.kind == SearchKind::toolInput || *query.kind == SearchKind::toolOutput;
  if (!isOfTools) return std::nullopt;
  if (query.kind != SearchKind::toolInvocationGroup) narrowing.part = query.kind;
  if (query.tools == ToolFilter::failed) {
    require(search_word::kFailed);
    narrowing.filter = "failed";
  }
  return narrowing;
}

}  // namespace

std::string_view rawValue(SearchKind kind) { return kKindWords.at(static_cast<std::size_t>(kind)); }

std::optional<SearchKind> searchKindFromRawValue(std::string_view text) {
  const auto* const found = std::ranges::find(kKindWords, text);
  if (found == kKindWords.end()) return std::nullopt;
  return kSearchKinds.at(static_cast<std::size_t>(found - kKindWords.begin()));
}

/// The queries themselves, run one after another on the reader's strand.
class SearchReadings {
 public:
  explicit SearchReadings(std::shared_ptr<ModelContainer> modelContainer)
      : store_(std::move(modelContainer)),
        project_(store_.prepare("SELECT id FROM project WHERE uuid = ?")),
        items_(store_, SearchSource::item),
        invocations_(store_, SearchSource::invocation),
        weeks_(store_.prepare("SELECT week FROM search_week WHERE source = ? AND week BETWEEN ? AND ? ORDER BY week "
                              "DESC")),
        codeBlocks_(
            store_.prepare("SELECT text FROM message_block WHERE message_id = ? AND kind = 'code' ORDER BY position")) {
  }

  SearchResult search(const SearchQuery& query, const std::stop_token& stop) {
    const SearchPattern pattern(query.text, query.lastWord);
    if (!pattern.hasWords()) return {.hadWords = false};
    return store_.read([&] {
      SearchResult result;
      std::optional<std::int64_t> project;
      if (query.project) {
        auto row = project_.query(bound(*query.project));
        if (!row.step()) return result;
        project = row.int64(0);
      }
      std::vector<Candidate> candidates;
      for (SourceReadings* const readings : {&items_, &invocations_}) {
        if (const auto narrowing = narrowed(readings->source, query)) {
          Looking looking{.readings = *readings,
                          .narrowing = *narrowing,
                          .pattern = pattern,
                          .query = query,
                          .project = project,
                          .stop = stop,
                          .enough = candidates.size() + static_cast<std::size_t>(query.limit),
                          .most = candidates.size() + static_cast<std::size_t>(std::max(query.limit, kLeastRated)),
                          .candidates = candidates};
          collect(looking);
        }
      }
      result.isComplete = !stop.stop_requested();
      std::ranges::sort(candidates, std::greater(), [](const Candidate& one) {
        return std::tuple(one.score, one.hit.createdAt, one.hit.item, one.hit.invocation);
      });
      for (Candidate& one : candidates) {
        if (std::ssize(result.hits) >= query.limit) break;
        result.hits.push_back(std::move(one.hit));
      }
      return result;
    });
  }

 private:
  /// What is looked for in one of the sources, and what was found.
  struct Looking {
    SourceReadings& readings;
    const Narrowing& narrowing;
    const SearchPattern& pattern;
    const SearchQuery& query;
    std::optional<std::int64_t> project;
    const std::stop_token& stop;
    std::size_t enough;
    std::size_t most;
    std::vector<Candidate>& candidates;
    std::int64_t lookedAt = 0;

    bool isDone() const {
      return stop.stop_requested() || candidates.size() >= most ||
             (lookedAt >= kLeastLookedAt && candidates.size() >= enough);
    }
  };

  /// Looks at the newest first: exactly where there are few, and else week by week.
  void collect(Looking& looking) {
    std::string words =
        fmt::format("(({}) OR \"{}\"){}", looking.pattern.indexQuery(), search_word::kCut, looking.narrowing.words);
    if (looking.project) words += fmt::format(" AND \"{}\"", search_word::project(*looking.project));
    if (const auto few = fewWith(words, looking.readings)) {
      for (const std::int64_t id : *few) {
        if (looking.isDone()) return;
        look(id, looking);
      }
      return;
    }
    const auto weekOf = [](const std::optional<Timestamp>& time, std::int64_t otherwise) {
      return time ? bound(*time) / kSearchWeek : otherwise;
    };
    constexpr std::int64_t kLastWeek = std::numeric_limits<std::int64_t>::max();
    auto week = weeks_.query(rawValue(looking.readings.source), weekOf(looking.query.since, -kLastWeek),
                             weekOf(looking.query.until, kLastWeek));
    while (!looking.isDone() && week.step()) {
      auto row = looking.readings.ids.query(fmt::format("{} AND \"{}\"", words, search_word::week(week.int64(0))));
      while (!looking.isDone() && row.step()) look(row.int64(0), looking);
    }
  }

  /// The newest first; nothing where there are many.
  static std::optional<std::vector<std::int64_t>> fewWith(const std::string& words, SourceReadings& readings) {
    std::vector<std::pair<std::int64_t, std::int64_t>> found;
    auto row = readings.ids.query(words);
    while (row.step()) {
      if (found.size() == kFew) return std::nullopt;
      auto time = readings.createdAt.query(row.int64(0));
      if (time.step()) found.emplace_back(time.int64(0), row.int64(0));
    }
    std::ranges::sort(found, std::greater());
    std::vector<std::int64_t> ids;
    for (const auto& [createdAt, id] : found) ids.push_back(id);
    return ids;
  }

  void look(std::int64_t id, Looking& looking) {
    const SearchQuery& query = looking.query;
    const Narrowing& narrowing = looking.narrowing;
    const auto timeOf = [](const std::optional<Timestamp>& time) {
      return time ? std::optional(bound(*time)) : std::nullopt;
    };
    const auto agent = query.agent ? std::optional(rawValue(*query.agent)) : std::nullopt;
    auto row = looking.readings.entry.query(id, timeOf(query.since), timeOf(query.until), looking.project, agent,
                                            narrowing.filter);
    if (!row.step()) return;
    ++looking.lookedAt;
    std::vector<std::string> owned;
    std::vector<std::string_view> texts;
    std::array<std::string, 2> rooms;
    if (narrowing.part == SearchKind::code) {
      auto block = codeBlocks_.query(row.int64(2));
      while (block.step()) owned.push_back(readText(block, 0));
      texts.assign(owned.begin(), owned.end());
    } else {
      const bool isAll = !narrowing.part;
      if (isAll) texts.push_back(row.text(5));
      if (isAll && !row.isNull(6)) texts.push_back(row.text(6));
      const auto addStored = [&](int column, SearchKind part, std::string& room) {
        if ((isAll || narrowing.part == part) && !row.isNull(column)) {
          texts.push_back(searchedText(row.text(column), room));
        }
      };
      addStored(7, SearchKind::toolInput, rooms[0]);
      addStored(8, SearchKind::toolOutput, rooms[1]);
    }
    if (const auto match = looking.pattern.match(texts)) {
      looking.candidates.push_back({.hit = {.conversation = readId<ConversationId>(row, 0),
                                            .item = readId<ConversationItemId>(row, 2),
                                            .invocation = readOptionalId<ToolInvocationId>(row, 3),
                                            .kind = conversationItemKindFromRawValue(row.text(4)).value(),
                                            .createdAt = readTime(row, 1),
                                            .snippet = snippetOf(texts[match->text], match->marks)},
                                    .score = match->score});
    }
  }

  StoreConnection store_;
  sqlite::Statement project_;
  SourceReadings items_;
  SourceReadings invocations_;
  sqlite::Statement weeks_;
  sqlite::Statement codeBlocks_;
};

std::shared_ptr<SearchReader> SearchReader::make(std::shared_ptr<ModelContainer> modelContainer) {
  return std::make_shared<SearchReader>(std::move(modelContainer));
}

SearchReader::SearchReader(std::shared_ptr<ModelContainer> modelContainer) : StoreActor(std::move(modelContainer)) {}

SearchReader::~SearchReader() = default;

awaitable<SearchResult> SearchReader::search(SearchQuery query, std::stop_token stop) {
  return perform(
      [query = std::move(query), stop = std::move(stop)](auto& operations) { return operations.search(query, stop); });
}

}  // namespace ravant
