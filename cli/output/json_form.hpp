#pragma once

#include "core/agent.hpp"
#include "core/agent_model.hpp"
#include "core/conversation_item.hpp"
#include "core/integrations/github_integration.hpp"
#include "core/integrations/pinned_item.hpp"
#include "core/project.hpp"
#include "core/store/conversation_model_actor.hpp"
#include "platform/json/json.hpp"

namespace ravant::cli {

/// Whether the agent's own records are part of the machine output.
enum class RawRecords { left, included };

/// The machine output's forms of the entities: an absent optional field is left out.
json::object jsonForm(const Project& project);
json::object jsonForm(const Agent& agent);
json::object jsonForm(const AgentModel& model);
json::object jsonForm(const ConversationSummary& summary);
json::object jsonForm(const ConversationItem& item, RawRecords records);
json::object jsonForm(const ToolInvocation& invocation, RawRecords records);
json::object jsonForm(const GithubIntegration& account);
json::object jsonForm(const GithubRepository& repository);
json::object jsonForm(const GithubPullRequest& pull);
json::object jsonForm(const LinearIntegration& workspace);
json::object jsonForm(const LinearTeam& team);
json::object jsonForm(const LinearIssue& issue);
json::object jsonForm(const PinnedItem& pin);

template <class Entity>
json::array jsonForms(const std::vector<Entity>& entities) {
  json::array forms;
  for (const Entity& entity : entities) forms.push_back(jsonForm(entity));
  return forms;
}

}  // namespace ravant::cli
