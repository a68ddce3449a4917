#include "core/integrations/linear_integration.hpp"

#include <algorithm>

namespace ravant {

std::string_view rawValue(LinearIssuesSortOrder order) {
  switch (order) {
    case LinearIssuesSortOrder::lastUpdated:
      return "lastUpdated";
    case LinearIssuesSortOrder::created:
      return "created";
    case LinearIssuesSortOrder::priority:
      return "priority";
  }
  __builtin_unreachable();
}

std::optional<LinearIssuesSortOrder> linearIssuesSortOrderFromRawValue(std::string_view text) {
  const auto* found =
      std::ranges::find(kLinearIssuesSortOrders, text, [](LinearIssuesSortOrder order) { return rawValue(order); });
  return found == kLinearIssuesSortOrders.end() ? std::nullopt : std::optional(*found);
}

}  // namespace ravant
