#include "cli/output/json_form.hpp"

#include "core/conversation_state.hpp"
#include "platform/clock/clock.hpp"

namespace ravant::cli {
namespace {

template <class Tag, class Value>
json::value form(const Id<Tag, Value>& id) {
  return json::value(id.text());
}
json::value form(Timestamp time) { return json::value(iso8601(time)); }
json::value form(const std::string& text) { return json::value(text); }
json::value form(std::int64_t number) { return json::value(number); }
json::value form(const WorkItem& item) {
  return json::object{{"kind", rawValue(item.kind)}, {"name", item.name}, {"url", item.url}};
}
json::value form(const std::vector<std::string>& texts) { return json::array(texts.begin(), texts.end()); }

template <class Value>
void addIfPresent(json::object& object, std::string_view key, const std::optional<Value>& value) {
  if (value) object.emplace(key, form(*value));
}

json::object blockForm(const MessageBlock& block) {
  json::object object{{"index", block.index}, {"kind", rawValue(block.kind)}};
  addIfPresent(object, "language", block.language);
  object.emplace("text", block.text);
  return object;
}

void addDetail(json::object& object, const UserMessage& prompt) {
  if (prompt.endReason) object.emplace("endReason", rawValue(*prompt.endReason));
  addIfPresent(object, "endedAt", prompt.endedAt);
}

void addDetail(json::object& object, const AgentMessage& message) {
  addIfPresent(object, "agentModel", message.agentModel);
  addIfPresent(object, "providerMessageId", message.providerMessageId);
  addIfPresent(object, "inputTokens", message.inputTokens);
  addIfPresent(object, "outputTokens", message.outputTokens);
  addIfPresent(object, "cacheReadTokens", message.cacheReadTokens);
  addIfPresent(object, "cacheCreationTokens", message.cacheCreationTokens);
  addIfPresent(object, "usedTokens", message.usedTokens);
  addIfPresent(object, "totalProcessedTokens", message.totalProcessedTokens);
  json::array blocks;
  for (const MessageBlock& block : message.blocks) blocks.push_back(blockForm(block));
  object.emplace("blocks", std::move(blocks));
}

void addDetail(json::object& object, const ToolInvocationGroup& group, RawRecords records) {
  json::array invocations;
  for (const ToolInvocation& invocation : group.invocations) invocations.push_back(jsonForm(invocation, records));
  object.emplace("invocations", std::move(invocations));
}

void addDetail(json::object& object, const GithubPullRequestsPinnedItem& pin) {
  const GithubContentFilter& filter = pin.filter;
  object.emplace("kind", "githubPullRequests");
  object.emplace("integration", pin.integration.text());
  object.emplace("repositoryFullNames",
                 json::array(filter.repositoryFullNames.begin(), filter.repositoryFullNames.end()));
  object.emplace("involvement", filterCase(filter.involvement).rawValue);
  object.emplace("state", filterCase(filter.state).rawValue);
  object.emplace("review", filterCase(filter.review).rawValue);
  object.emplace("checks", filterCase(filter.checks).rawValue);
  object.emplace("draft", filterCase(filter.draft).rawValue);
}

void addDetail(json::object& object, const LinearIssuesPinnedItem& pin) {
  object.emplace("kind", "linearIssues");
  object.emplace("integration", pin.integration.text());
  object.emplace("teamKey", pin.teamKey);
  object.emplace("teamName", pin.teamName);
  object.emplace("sortOrderString", rawValue(pin.sortOrder));
}

}  // namespace

json::object jsonForm(const Project& project) {
  return {{"id", project.id.text()},
          {"path", project.path},
          {"name", project.name},
          {"createdAt", iso8601(project.createdAt)},
          {"expandedInSidebar", project.expandedInSidebar},
          {"sidebarOrder", project.sidebarOrder}};
}

json::object jsonForm(const Agent& agent) {
  json::object object{{"id", agent.id.text()},
                      {"path", agent.path},
                      {"typeRaw", rawValue(agent.type)},
                      {"enabled", agent.enabled},
                      {"createdAt", iso8601(agent.createdAt)},
                      {"order", agent.order}};
  if (agent.arguments) object.emplace("arguments", form(*agent.arguments));
  return object;
}

json::object jsonForm(const AgentModel& model) {
  json::object object{{"slug", model.slug},
                      {"order", model.order},
                      {"enabled", model.enabled},
                      {"displayName", model.displayName},
                      {"efforts", form(model.efforts)}};
  addIfPresent(object, "defaultEffort", model.defaultEffort);
  object.emplace("supportsThinking", model.supportsThinking);
  object.emplace("supportsFastMode", model.supportsFastMode);
  object.emplace("contextWindowOptions", form(model.contextWindowOptions));
  addIfPresent(object, "defaultContextWindow", model.defaultContextWindow);
  object.emplace("promptInjectedEfforts", form(model.promptInjectedEfforts));
  object.emplace("visibility", rawValue(model.visibility));
  object.emplace("refreshedAt", iso8601(model.refreshedAt));
  object.emplace("isCustom", model.isCustom);
  addIfPresent(object, "agent", model.agent);
  return object;
}

json::object jsonForm(const ConversationSummary& summary) {
  const Conversation& conversation = summary.conversation;
  json::object object{{"id", conversation.id.text()}, {"project", conversation.project.text()}};
  addIfPresent(object, "agent", conversation.agent);
  if (summary.agentType) object.emplace("agentType", rawValue(*summary.agentType));
  addIfPresent(object, "agentResumedSessionId", conversation.agentResumedSessionId);
  addIfPresent(object, "lastUsedModel", conversation.lastUsedModel);
  addIfPresent(object, "lastUsedEffortRawValue", conversation.lastUsedEffortRawValue);
  object.emplace("createdAt", iso8601(conversation.createdAt));
  object.emplace("lastActivityAt", iso8601(conversation.lastActivityAt));
  object.emplace("lastPromptAt", iso8601(conversation.lastPromptAt));
  object.emplace("archived", conversation.archived);
  addIfPresent(object, "lastUsedTokens", conversation.lastUsedTokens);
  addIfPresent(object, "lastTotalProcessedTokens", conversation.lastTotalProcessedTokens);
  addIfPresent(object, "lastInputTokens", conversation.lastInputTokens);
  addIfPresent(object, "lastOutputTokens", conversation.lastOutputTokens);
  addIfPresent(object, "lastCacheReadTokens", conversation.lastCacheReadTokens);
  addIfPresent(object, "lastCacheCreationTokens", conversation.lastCacheCreationTokens);
  addIfPresent(object, "lastUsageUpdatedAt", conversation.lastUsageUpdatedAt);
  addIfPresent(object, "lastMaxTokens", conversation.lastMaxTokens);
  addIfPresent(object, "title", conversation.title);
  object.emplace("displayTitle", displayTitle(summary));
  addIfPresent(object, "workItem", conversation.workItem);
  object.emplace("items", summary.items);
  object.emplace("unread", summary.unread);
  object.emplace("state", rawValue(stateOf(summary)));
  return object;
}

json::object jsonForm(const ConversationItem& item, RawRecords records) {
  json::object object{{"id", item.id.text()},
                      {"kind", rawValue(kindOf(item))},
                      {"createdAt", iso8601(item.createdAt)},
                      {"text", item.text}};
  if (records == RawRecords::included) object.emplace("rawJSON", item.rawJSON);
  if (const auto* prompt = std::get_if<UserMessage>(&item.detail)) addDetail(object, *prompt);
  if (const auto* message = std::get_if<AgentMessage>(&item.detail)) addDetail(object, *message);
  if (const auto* group = std::get_if<ToolInvocationGroup>(&item.detail)) addDetail(object, *group, records);
  return object;
}

json::object jsonForm(const ToolInvocation& invocation, RawRecords records) {
  json::object object{
      {"id", invocation.id.text()}, {"toolName", invocation.toolName}, {"toolCallId", invocation.toolCallId}};
  addIfPresent(object, "input", invocation.input);
  addIfPresent(object, "output", invocation.output);
  object.emplace("status", rawValue(invocation.status));
  object.emplace("createdAt", iso8601(invocation.createdAt));
  addIfPresent(object, "completedAt", invocation.completedAt);
  object.emplace("text", invocation.text);
  if (records == RawRecords::included) object.emplace("rawJSON", invocation.rawJSON);
  return object;
}

json::object jsonForm(const GithubIntegration& account) {
  return {{"id", account.id.text()},
          {"host", account.host},
          {"username", account.username},
          {"createdAt", iso8601(account.createdAt)},
          {"lastSelectedContent", rawValue(account.lastSelectedContent)}};
}

json::object jsonForm(const GithubRepository& repository) {
  json::object object{{"id", repository.id.text()},
                      {"integration", repository.integration.text()},
                      {"repositoryID", repository.repositoryID},
                      {"name", repository.name},
                      {"fullName", repository.fullName},
                      {"isPrivate", repository.isPrivate}};
  addIfPresent(object, "pushedAt", repository.pushedAt);
  return object;
}

json::object jsonForm(const GithubPullRequest& pull) {
  json::object object{{"id", pull.id.text()},
                      {"integration", pull.integration.text()},
                      {"number", pull.number},
                      {"title", pull.title},
                      {"url", pull.url},
                      {"isDraft", pull.isDraft},
                      {"merged", pull.merged},
                      {"closed", pull.closed},
                      {"repositoryName", pull.repositoryName}};
  addIfPresent(object, "authorUsername", pull.authorUsername);
  addIfPresent(object, "authorUsernameFolded", pull.authorUsernameFolded);
  addIfPresent(object, "reviewDecisionRaw", pull.reviewDecisionRaw);
  addIfPresent(object, "checkStateRaw", pull.checkStateRaw);
  object.emplace("involvesMe", pull.involvesMe);
  object.emplace("syncedAt", iso8601(pull.syncedAt));
  return object;
}

json::object jsonForm(const LinearIntegration& workspace) {
  return {{"id", workspace.id.text()},
          {"workspaceUrlKey", workspace.workspaceUrlKey},
          {"workspaceName", workspace.workspaceName},
          {"userName", workspace.userName},
          {"userEmail", workspace.userEmail},
          {"createdAt", iso8601(workspace.createdAt)}};
}

json::object jsonForm(const LinearTeam& team) {
  json::object object{{"id", team.id.text()},
                      {"integration", team.integration.text()},
                      {"teamID", team.teamID},
                      {"key", team.key},
                      {"name", team.name}};
  addIfPresent(object, "colorHex", team.colorHex);
  return object;
}

json::object jsonForm(const LinearIssue& issue) {
  json::object object{{"id", issue.id.text()},
                      {"integration", issue.integration.text()},
                      {"issueID", issue.issueID},
                      {"identifier", issue.identifier},
                      {"title", issue.title}};
  addIfPresent(object, "descriptionText", issue.descriptionText);
  object.emplace("stateName", issue.stateName);
  object.emplace("stateColorHex", issue.stateColorHex);
  object.emplace("stateTypeRaw", issue.stateTypeRaw);
  object.emplace("priority", issue.priority);
  object.emplace("priorityLabel", issue.priorityLabel);
  object.emplace("teamKey", issue.teamKey);
  object.emplace("teamName", issue.teamName);
  addIfPresent(object, "projectName", issue.projectName);
  object.emplace("url", issue.url);
  object.emplace("createdAt", iso8601(issue.createdAt));
  object.emplace("updatedAt", iso8601(issue.updatedAt));
  return object;
}

json::object jsonForm(const PinnedItem& pin) {
  json::object object{{"id", pin.id.text()}, {"sidebarOrder", pin.sidebarOrder}};
  addIfPresent(object, "customTitle", pin.customTitle);
  object.emplace("createdAt", iso8601(pin.createdAt));
  std::visit([&object](const auto& detail) { addDetail(object, detail); }, pin.detail);
  return object;
}

}  // namespace ravant::cli
