#include "core/store/search/transcript_finder.hpp"

#include <fmt/format.h>

#include <span>
#include <utility>

#include "core/store/row_values.hpp"
#include "core/store/search/search_letter.hpp"
#include "core/store/search/searched_text.hpp"
#include "core/store/store_connection.hpp"

namespace ravant {
namespace {

std::string select(std::string_view rest) {
  return fmt::format(
      "SELECT item.id, item.created_at, item.kind, item.text FROM conversation_item AS item "
      "JOIN conversation ON conversation.id = item.conversation_id AND conversation.importer IS NULL "
      "WHERE conversation.uuid = ?1 {}",
      rest);
}

std::string selectBeside(std::string_view comparison, std::string_view order) {
  return select(
      fmt::format("AND (item.created_at, item.id) {} (SELECT created_at, id FROM conversation_item WHERE id = ?2) "
                  "ORDER BY item.created_at {}, item.id {}",
                  comparison, order, order));
}

std::vector<double> placesOf(std::span<const std::int64_t> positions, std::int64_t all) {
  std::vector<double> places;
  std::int64_t next = 0;
  for (const std::int64_t position : positions) {
    const auto part = position * static_cast<std::int64_t>(TranscriptFinder::kMostPlaces) / all;
    if (part < next) continue;
    next = part + 1;
    places.push_back(static_cast<double>(position) / static_cast<double>(all));
  }
  return places;
}

}  // namespace

/// The queries themselves, run one after another on the finder's strand.
class TranscriptFindings {
 public:
  explicit TranscriptFindings(std::shared_ptr<ModelContainer> modelContainer)
      : store_(std::move(modelContainer)),
        all_(store_.prepare(select("ORDER BY item.created_at, item.id"))),
        allBackwards_(store_.prepare(select("ORDER BY item.created_at DESC, item.id DESC"))),
        behind_(store_.prepare(selectBeside(">", ""))),
        upTo_(store_.prepare(selectBeside("<=", ""))),
        before_(store_.prepare(selectBeside("<", "DESC"))),
        downTo_(store_.prepare(selectBeside(">=", "DESC"))),
        invocations_(store_.prepare("SELECT id, created_at, tool_name, text, input, output FROM tool_invocation WHERE "
                                    "group_id = ? ORDER BY id")) {}

  std::optional<SearchHit> find(ConversationId conversation, const std::string& text,
                                std::optional<ConversationItemId> from, FindDirection direction,
                                const std::stop_token& stop) {
    const std::string folded = foldedForSearch(text);
    if (folded.empty()) return std::nullopt;
    const bool isNext = direction == FindDirection::next;
    return store_.read([&]() -> std::optional<SearchHit> {
      if (!from) return first((isNext ? all_ : allBackwards_).query(bound(conversation)), conversation, folded, stop);
      const auto beside = [&](sqlite::Statement& statement) {
        return first(statement.query(bound(conversation), bound(*from)), conversation, folded, stop);
      };
      auto hit = beside(isNext ? behind_ : before_);
      return hit ? hit : beside(isNext ? upTo_ : downTo_);
    });
  }

  TranscriptFinder::Count count(ConversationId conversation, const std::string& text,
                                std::optional<ConversationItemId> item, const std::stop_token& stop) {
    const std::string folded = foldedForSearch(text);
    return store_.read([&] {
      TranscriptFinder::Count count;
      std::vector<std::int64_t> positions;
      std::int64_t all = 0;
      auto row = all_.query(bound(conversation));
      for (; !folded.empty() && !stop.stop_requested() && row.step(); ++all) {
        if (!hitIn(row, conversation, folded)) continue;
        ++count.items;
        positions.push_back(all);
        if (item == readId<ConversationItemId>(row, 0)) count.position = count.items;
      }
      count.places = placesOf(positions, all);
      return count;
    });
  }

 private:
  std::optional<SearchHit> first(sqlite::Query&& row, ConversationId conversation, std::string_view folded,
                                 const std::stop_token& stop) {
    while (!stop.stop_requested() && row.step()) {
      if (auto hit = hitIn(row, conversation, folded)) return hit;
    }
    return std::nullopt;
  }

  std::optional<SearchHit> hitIn(const sqlite::Query& row, ConversationId conversation, std::string_view folded) {
    SearchHit hit{.conversation = conversation,
                  .item = readId<ConversationItemId>(row, 0),
                  .invocation = {},
                  .kind = conversationItemKindFromRawValue(row.text(2)).value(),
                  .createdAt = readTime(row, 1),
                  .snippet = {}};
    if (const auto span = findFolded(row.text(3), folded)) {
      hit.snippet = snippetOf(row.text(3), {*span});
      return hit;
    }
    if (hit.kind != ConversationItemKind::toolInvocationGroup) return std::nullopt;
    auto invocation = invocations_.query(bound(hit.item));
    std::string room;
    while (invocation.step()) {
      for (int column = 2; column < 6; ++column) {
        if (invocation.isNull(column)) continue;
        const bool isStored = column > 3;
        const std::string_view text = isStored ? searchedText(invocation.text(column), room) : invocation.text(column);
        const auto span = findFolded(text, folded);
        if (!span) continue;
        hit.invocation = readId<ToolInvocationId>(invocation, 0);
        hit.createdAt = readTime(invocation, 1);
        hit.snippet = snippetOf(text, {*span});
        return hit;
      }
    }
    return std::nullopt;
  }

  StoreConnection store_;
  sqlite::Statement all_;
  sqlite::Statement allBackwards_;
  sqlite::Statement behind_;
  sqlite::Statement upTo_;
  sqlite::Statement before_;
  sqlite::Statement downTo_;
  sqlite::Statement invocations_;
};

std::shared_ptr<TranscriptFinder> TranscriptFinder::make(std::shared_ptr<ModelContainer> modelContainer) {
  return std::make_shared<TranscriptFinder>(std::move(modelContainer));
}

TranscriptFinder::TranscriptFinder(std::shared_ptr<ModelContainer> modelContainer)
    : StoreActor(std::move(modelContainer)) {}

TranscriptFinder::~TranscriptFinder() = default;

awaitable<std::optional<SearchHit>> TranscriptFinder::find(ConversationId conversation, std::string text,
                                                           std::optional<ConversationItemId> from,
                                                           FindDirection direction, std::stop_token stop) {
  return perform([=, text = std::move(text)](auto& operations) {
    return operations.find(conversation, text, from, direction, stop);
  });
}

awaitable<TranscriptFinder::Count> TranscriptFinder::count(ConversationId conversation, std::string text,
                                                           std::optional<ConversationItemId> item,
                                                           std::stop_token stop) {
  return perform(
      [=, text = std::move(text)](auto& operations) { return operations.count(conversation, text, item, stop); });
}

}  // namespace ravant
