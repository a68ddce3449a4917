#pragma once

#include "core/id.hpp"
#include "core/store/row_values.hpp"
#include "core/store/store_connection.hpp"

namespace ravant {

/// Tells which of the entities that a selection can name are in the store. For the operations of a store actor, inside
/// their transaction.
class WindowModels {
 public:
  explicit WindowModels(StoreConnection& store);

  bool contains(const ProjectId& id) { return isFound(project_, id); }
  bool contains(const ConversationId& id) { return isFound(conversation_, id); }
  bool contains(const PinnedItemId& id) { return isFound(pinnedItem_, id); }
  bool contains(const GithubIntegrationId& id) { return integration_.query(bound(id), "github").step(); }
  bool contains(const LinearIntegrationId& id) { return integration_.query(bound(id), "linear").step(); }
  bool contains(const GithubPullRequestId& id) { return isFound(pullRequest_, id); }
  bool contains(const LinearIssueId& id) { return isFound(issue_, id); }

 private:
  template <class EntityId>
  static bool isFound(sqlite::Statement& statement, const EntityId& id) {
    return statement.query(bound(id)).step();
  }

  sqlite::Statement project_;
  sqlite::Statement conversation_;
  sqlite::Statement pinnedItem_;
  sqlite::Statement integration_;
  sqlite::Statement pullRequest_;
  sqlite::Statement issue_;
};

}  // namespace ravant
