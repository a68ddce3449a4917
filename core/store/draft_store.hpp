#pragma once

#include <memory>
#include <optional>
#include <string>
#include <variant>

#include "core/id.hpp"
#include "core/store/store_actor.hpp"

namespace ravant {

class DraftOperations;

/// Where a text is typed: in a conversation, or for the one that would begin in a project.
using DraftPlace = std::variant<ConversationId, ProjectId>;

/// What was typed and not sent. Each change is an update of its place. All throw `StoreError`.
class DraftStore : public StoreActor<DraftOperations> {
 public:
  static std::shared_ptr<DraftStore> make(std::shared_ptr<ModelContainer> modelContainer);
  explicit DraftStore(std::shared_ptr<ModelContainer> modelContainer);
  ~DraftStore() override;

  /// In place of what stood there; an empty text removes it. Survives the death of the process. A place that is unknown
  /// is logged, and nothing is done.
  awaitable<void> keep(DraftPlace place, std::string text);
  /// The same, but only in place of that text, which is empty where none stands there; false where another one does.
  awaitable<bool> replace(DraftPlace place, std::string expected, std::string text);
  awaitable<std::optional<std::string>> draft(DraftPlace place);
};

}  // namespace ravant
