#include "cli/output/json_form.hpp"

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
  object.emplace("items", summary.items);
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

}  // namespace ravant::cli
