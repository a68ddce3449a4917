#include "core/store/change_record.hpp"

#include <type_traits>
#include <utility>

#include "core/store/row_values.hpp"

namespace ravant {
namespace {

constexpr std::int64_t kKept = 16'384;
constexpr std::int64_t kDropInterval = 1'024;

template <std::size_t index = 0>
Change::EntityId readEntity(std::int64_t kind, const sqlite::Query& row, int column) {
  if constexpr (index < std::variant_size_v<Change::EntityId>) {
    using EntityId = std::variant_alternative_t<index, Change::EntityId>;
    return kind == static_cast<std::int64_t>(index) ? readId<EntityId>(row, column)
                                                    : readEntity<index + 1>(kind, row, column);
  } else {
    std::unreachable();
  }
}

}  // namespace

ChangeWriter::ChangeWriter(sqlite::Database& database)
    : database_(database),
      insert_(database.prepare("INSERT INTO change (entity, operation, id, conversation) VALUES (?, ?, ?, ?)")),
      dropOld_(database.prepare("DELETE FROM change WHERE sequence <= ?")) {}

void ChangeWriter::write(const std::vector<Change>& changes) {
  for (const Change& change : changes) {
    const auto conversation = change.conversation ? std::optional(bound(*change.conversation)) : std::nullopt;
    std::visit(
        [&](const auto& id) {
          insert_.run(static_cast<std::int64_t>(change.entity.index()), std::to_underlying(change.operation), bound(id),
                      conversation);
        },
        change.entity);
    const std::int64_t sequence = database_.lastInsertRowId();
    if (sequence % kDropInterval == 0) dropOld_.run(sequence - kKept);
  }
}

ChangeReader::ChangeReader(sqlite::Database& database)
    : last_(database.prepare("SELECT coalesce(max(sequence), 0) FROM change")),
      first_(database.prepare("SELECT coalesce(min(sequence), 0) FROM change")),
      after_(database.prepare(
          "SELECT sequence, entity, operation, id, conversation FROM change WHERE sequence > ? ORDER BY sequence")) {}

std::int64_t ChangeReader::lastSequence() {
  auto row = last_.query();
  row.step();
  return row.int64(0);
}

ChangeBatch ChangeReader::readAfter(std::int64_t& sequence) {
  ChangeBatch batch;
  {
    auto row = first_.query();
    row.step();
    batch.isIncomplete = row.int64(0) > sequence + 1;
  }
  auto row = after_.query(sequence);
  while (row.step()) {
    sequence = row.int64(0);
    const bool hasConversation = !row.isNull(4);
    batch.changes.push_back(
        {.entity = readEntity(row.int64(1), row, 3),
         .operation = static_cast<ChangeOperation>(row.int64(2)),
         .conversation = hasConversation ? std::optional(readId<ConversationId>(row, 4)) : std::nullopt});
  }
  return batch;
}

}  // namespace ravant
