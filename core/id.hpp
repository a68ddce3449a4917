#pragma once

#include <compare>
#include <cstdint>
#include <functional>
#include <string>
#include <type_traits>
#include <utility>

#include "platform/text/uuid.hpp"

namespace ravant {

/// The persistent id of one kind of entity; two kinds never convert into each other.
///
/// `Value` is a `Uuid` for entities that people and scripts name (projects, agents, conversations, integrations, pinned
/// views), and the store's own row number for their parts. The default id names nothing.
template <class Tag, class Value>
class Id {
 public:
  Id() = default;
  explicit Id(Value value) : value_(std::move(value)) {}

  const Value& value() const { return value_; }

  /// The form in which the id is shown, logged and given in machine output.
  std::string text() const {
    if constexpr (std::is_same_v<Value, Uuid>) {
      return value_.text();
    } else {
      return std::to_string(value_);
    }
  }

  auto operator<=>(const Id&) const = default;

 private:
  Value value_{};
};

using ProjectId = Id<struct ProjectTag, Uuid>;
using AgentId = Id<struct AgentTag, Uuid>;
using ConversationId = Id<struct ConversationTag, Uuid>;
using AgentModelId = Id<struct AgentModelTag, std::int64_t>;
using ConversationItemId = Id<struct ConversationItemTag, std::int64_t>;
using ToolInvocationId = Id<struct ToolInvocationTag, std::int64_t>;
using GithubIntegrationId = Id<struct GithubIntegrationTag, Uuid>;
using GithubRepositoryId = Id<struct GithubRepositoryTag, std::int64_t>;
using GithubPullRequestId = Id<struct GithubPullRequestTag, std::int64_t>;
using GithubPullDetailCacheId = Id<struct GithubPullDetailCacheTag, std::int64_t>;
using LinearIntegrationId = Id<struct LinearIntegrationTag, Uuid>;
using LinearTeamId = Id<struct LinearTeamTag, std::int64_t>;
using LinearIssueId = Id<struct LinearIssueTag, std::int64_t>;
using QueuedPromptId = Id<struct QueuedPromptTag, std::int64_t>;
using PinnedItemId = Id<struct PinnedItemTag, Uuid>;

}  // namespace ravant

template <class Tag, class Value>
struct std::hash<ravant::Id<Tag, Value>> {
  std::size_t operator()(const ravant::Id<Tag, Value>& id) const noexcept { return std::hash<Value>()(id.value()); }
};
