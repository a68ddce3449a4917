#include "core/window/window_selection_snapshot.hpp"

#include "core/overloaded.hpp"

namespace ravant {

WindowNavigationHistory::Snapshot WindowSelectionSnapshot::resolve(WindowModels& in) const {
  const auto isKnown = Overloaded{[](const LatestConversations&) { return true; },
                                  [&](const NewConversation& page) { return model(page.project, in).has_value(); },
                                  [&](const auto& id) { return model(id, in).has_value(); }};
  WindowNavigationHistory::Snapshot found;
  if (content && std::visit(isKnown, *content)) found.content = content;
  if (detail && std::visit(isKnown, *detail)) found.detail = detail;
  return found;
}

}  // namespace ravant
