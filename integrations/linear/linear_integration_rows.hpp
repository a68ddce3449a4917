#pragma once

#include <fmt/format.h>

#include <stdexcept>

#include "core/store/row_values.hpp"
#include "core/store/store_connection.hpp"

namespace ravant {

inline std::runtime_error unknownIntegration(LinearIntegrationId id) {
  return std::runtime_error(fmt::format("unknown integration {}", id.text()));
}

/// The rows of workspaces, by which the rows of what they have refer to them.
class LinearIntegrationRows {
 public:
  explicit LinearIntegrationRows(StoreConnection& store)
      : find_(store.prepare("SELECT id FROM integration WHERE uuid = ? AND kind = 'linear'")) {}

  /// Throws `unknownIntegration`.
  std::int64_t expect(LinearIntegrationId id) {
    auto row = find_.query(bound(id));
    if (!row.step()) throw unknownIntegration(id);
    return row.int64(0);
  }

 private:
  sqlite::Statement find_;
};

}  // namespace ravant
