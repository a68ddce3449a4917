#pragma once

#include <fmt/format.h>

#include <optional>
#include <stdexcept>
#include <string>

#include "core/store/row_values.hpp"
#include "core/store/store_connection.hpp"

namespace ravant {

/// The rows of accounts, by which the rows of what they reach refer to them.
class GithubIntegrationRows {
 public:
  struct Row {
    std::int64_t id;
    std::string username;
  };

  explicit GithubIntegrationRows(StoreConnection& store)
      : find_(store.prepare("SELECT id, username FROM integration WHERE uuid = ? AND kind = 'github'")) {}

  std::optional<Row> find(GithubIntegrationId id) {
    auto row = find_.query(bound(id));
    return row.step() ? std::optional(Row{.id = row.int64(0), .username = readText(row, 1)}) : std::nullopt;
  }

  /// Throws `std::runtime_error` "unknown integration " with the id.
  Row expect(GithubIntegrationId id) {
    auto row = find(id);
    if (!row) throw std::runtime_error(fmt::format("unknown integration {}", id.text()));
    return *std::move(row);
  }

 private:
  sqlite::Statement find_;
};

}  // namespace ravant
