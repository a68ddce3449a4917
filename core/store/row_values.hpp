#pragma once

#include <optional>
#include <string>
#include <type_traits>
#include <vector>

#include "core/id.hpp"
#include "platform/clock/clock.hpp"
#include "platform/sqlite/statement.hpp"

namespace ravant {

/// How the domain's values stand in a row: ids of named entities as 16 bytes, others as the row's
/// number; times as microseconds; lists of texts as a JSON array.

template <class Tag>
sqlite::Blob bound(const Id<Tag, Uuid>& id) {
  return id.value().bytes();
}

template <class Tag>
std::int64_t bound(const Id<Tag, std::int64_t>& id) {
  return id.value();
}

inline std::int64_t bound(Timestamp time) { return time.time_since_epoch().count(); }

std::string bound(const std::vector<std::string>& texts);

template <class EntityId>
EntityId readId(const sqlite::Query& row, int column) {
  if constexpr (std::is_constructible_v<EntityId, Uuid>) {
    return EntityId(Uuid(row.blob(column).first<Uuid::kSize>()));
  } else {
    return EntityId(row.int64(column));
  }
}

template <class EntityId>
std::optional<EntityId> readOptionalId(const sqlite::Query& row, int column) {
  return row.isNull(column) ? std::nullopt : std::optional(readId<EntityId>(row, column));
}

inline Timestamp readTime(const sqlite::Query& row, int column) {
  return Timestamp(std::chrono::microseconds(row.int64(column)));
}

inline std::optional<Timestamp> readOptionalTime(const sqlite::Query& row, int column) {
  return row.isNull(column) ? std::nullopt : std::optional(readTime(row, column));
}

inline std::string readText(const sqlite::Query& row, int column) { return std::string(row.text(column)); }

inline std::optional<std::string> readOptionalText(const sqlite::Query& row, int column) {
  return row.isNull(column) ? std::nullopt : std::optional(readText(row, column));
}

std::vector<std::string> readTexts(const sqlite::Query& row, int column);

}  // namespace ravant
