#pragma once

#include <algorithm>
#include <vector>

namespace ravant {

/// The order of `present` after `wanted` was put first; what is not present is left out.
template <class EntityId>
std::vector<EntityId> reordered(const std::vector<EntityId>& present, const std::vector<EntityId>& wanted) {
  std::vector<EntityId> order;
  const auto add = [&order](const EntityId& id) {
    if (std::ranges::find(order, id) == order.end()) order.push_back(id);
  };
  for (const EntityId& id : wanted) {
    if (std::ranges::find(present, id) != present.end()) add(id);
  }
  std::ranges::for_each(present, add);
  return order;
}

}  // namespace ravant
