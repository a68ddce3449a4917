#include "runners/codex/codex_wire.hpp"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <array>
#include <utility>
#include <vector>

#include "runners/agent_json.hpp"

namespace ravant::codex {
namespace {

// Items of the server's own book-keeping.
constexpr std::array<std::string_view, 10> kHiddenItems = {
    "reasoning",        "userMessage",       "user_message",     "plan", "hookPrompt", "functionCallOutput",
    "subAgentActivity", "enteredReviewMode", "exitedReviewMode", "sleep"};

// What the tools are called that have no name of their own.
constexpr std::array<std::pair<std::string_view, std::string_view>, 5> kToolNames = {{
    {"commandExecution", "shell"},
    {"fileChange", "apply_patch"},
    {"webSearch", "web_search"},
    {"imageView", "view_image"},
    {"imageGeneration", "image_generation"},
}};

/// The first of the members that is a text.
std::optional<std::string_view> firstText(const json::object& object, std::initializer_list<std::string_view> keys) {
  for (const std::string_view key : keys) {
    if (const auto text = stringAt(object, key)) return text;
  }
  return std::nullopt;
}

/// The first of the members that is there and not null.
const json::value* firstPresent(const json::object& object, std::initializer_list<std::string_view> keys) {
  for (const std::string_view key : keys) {
    const json::value* value = object.if_contains(key);
    if (value && !value->is_null()) return value;
  }
  return nullptr;
}

/// A member of each of a file change's entries, such as "path".
std::string ofChanges(const json::array& changes, std::string_view key) {
  std::vector<std::string_view> texts;
  for (const json::value& value : changes) {
    const json::object* change = value.if_object();
    auto text = change ? stringAt(*change, key) : std::nullopt;
    if (text && text->ends_with('\n')) text->remove_suffix(1);
    if (text) texts.push_back(*text);
  }
  return fmt::format("{}", fmt::join(texts, "\n"));
}

std::string toolName(const json::object& item, std::string_view type) {
  if (const auto name = firstText(item, {"name", "toolName"})) return std::string(*name);
  if (const auto tool = stringAt(item, "tool")) {
    const auto server = stringAt(item, "server");
    return server ? fmt::format("{}.{}", *server, *tool) : std::string(*tool);
  }
  const auto* known = std::ranges::find(kToolNames, type, &std::pair<std::string_view, std::string_view>::first);
  return std::string(known == kToolNames.end() ? type : known->second);
}

std::optional<std::string> toolInput(const json::object& item) {
  if (const json::value* arguments = firstPresent(item, {"arguments", "input"})) {
    const auto* text = arguments->if_string();
    return text ? std::string(*text) : compactJson(*arguments);
  }
  if (const auto command = stringAt(item, "command")) return std::string(*command);
  if (const json::array* changes = arrayAt(item, "changes")) return ofChanges(*changes, "path");
  const auto text = firstText(item, {"query", "path", "prompt"});
  return text && !text->empty() ? std::optional<std::string>(*text) : std::nullopt;
}

std::optional<std::string> toolOutput(const json::object& item) {
  if (const json::value* output = firstPresent(item, {"output", "contentItems"})) {
    return decodeCodexToolOutput(*output).text;
  }
  const auto output = stringAt(item, "aggregatedOutput");
  const std::int64_t exitCode = integerAt(item, "exitCode").value_or(0);
  if (output || exitCode != 0) {
    const std::string_view text = output.value_or(std::string_view());
    if (exitCode == 0) return std::string(text);
    return fmt::format("{}{}exit code {}", text, text.empty() || text.ends_with('\n') ? "" : "\n", exitCode);
  }
  if (const json::object* result = objectAt(item, "result")) {
    if (std::string text = contentText(result->if_contains("content")); !text.empty()) return text;
    if (const json::value* structured = firstPresent(*result, {"structuredContent"})) return compactJson(*structured);
  }
  if (const json::object* error = objectAt(item, "error")) return textAt(*error, "message");
  if (const json::array* changes = arrayAt(item, "changes")) return ofChanges(*changes, "diff");
  if (const json::value* results = firstPresent(item, {"results", "result"})) {
    const auto* text = results->if_string();
    return text ? std::string(*text) : compactJson(*results);
  }
  return std::nullopt;
}

ToolInvocationStatus toolStatus(const json::object& item, ItemStage stage) {
  using enum ToolInvocationStatus;
  const std::string_view status = stringAt(item, "status").value_or(std::string_view());
  if (status == "failed" || status == "error" || status == "declined" || status == "interrupted") return failed;
  if (stage == ItemStage::completed) return completed;
  const bool isFinal = status == "completed" || status == "success";
  return isFinal ? completed : running;
}

std::optional<Event> parseItem(ItemStage stage, const json::object& params) {
  const json::object* item = objectAt(params, "item");
  if (item && item->contains("payload")) item = objectAt(*item, "payload");
  if (!item) return std::nullopt;
  const auto type = firstText(*item, {"type", "itemType"});
  if (!type || std::ranges::count(kHiddenItems, *type) > 0) return std::nullopt;
  if (*type == "agentMessage" || *type == "agent_message") {
    const auto text = firstText(*item, {"text", "message"});
    return ItemEvent{stage, MessageItem{textAt(*item, "id"), std::string(text.value_or(std::string_view()))}};
  }
  if (*type == "contextCompaction") return ItemEvent{stage, CompactionItem{}};
  const auto callId = firstText(*item, {"call_id", "id"});
  if (!callId) return std::nullopt;
  return ItemEvent{stage, ToolItem{.callId = std::string(*callId),
                                   .name = toolName(*item, *type),
                                   .input = toolInput(*item),
                                   .output = toolOutput(*item),
                                   .status = toolStatus(*item, stage)}};
}

TurnEnded parseTurnEnd(std::string_view method, const json::object& params) {
  TurnEnded end{.turnId = extractTurnId(params).value_or(std::string())};
  const json::object* error = objectAt(params, "error");
  bool isFailed = method != "turn/completed" || error != nullptr;
  if (const json::object* turn = objectAt(params, "turn")) {
    const json::object* turnError = objectAt(*turn, "error");
    isFailed |= stringAt(*turn, "status") == "failed" || turnError != nullptr;
    if (!error) error = turnError;
  }
  end.failed = isFailed;
  if (error) end.error = optionalTextAt(*error, "message");
  return end;
}

}  // namespace

json::object initializeParams() {
  return {{"clientInfo", {{"name", "ravant"}, {"title", "Ravant"}, {"version", "0.1.0"}}},
          {"capabilities", {{"experimentalApi", true}}}};
}

json::object threadParams(std::optional<std::string_view> threadId, std::string_view workingDirectory,
                          std::string_view model) {
  json::object params;
  if (threadId) params.emplace("threadId", *threadId);
  params.emplace("cwd", workingDirectory);
  params.emplace("model", model);
  params.emplace("approvalPolicy", "never");
  params.emplace("sandbox", "danger-full-access");
  // The whole history would come back in one line.
  if (threadId) params.emplace("excludeTurns", true);
  return params;
}

json::object turnStartParams(std::string_view threadId, std::string_view prompt, std::string_view model,
                             const std::optional<std::string>& effort) {
  return {{"threadId", threadId},
          {"input", json::array{json::object{{"type", "text"}, {"text", prompt}}}},
          {"model", model},
          {"effort", effort ? json::value(*effort) : json::value(nullptr)}};
}

json::object turnInterruptParams(std::string_view threadId, std::string_view turnId) {
  return {{"threadId", threadId}, {"turnId", turnId}};
}

std::optional<std::string> extractThreadId(const json::object& params) {
  const json::object* thread = objectAt(params, "thread");
  if (auto id = thread ? optionalTextAt(*thread, "id") : std::nullopt) return id;
  return optionalTextAt(params, "threadId");
}

std::optional<std::string> extractTurnId(const json::object& params) {
  const json::object* turn = objectAt(params, "turn");
  if (auto id = turn ? optionalTextAt(*turn, "id") : std::nullopt) return id;
  return optionalTextAt(params, "turnId");
}

ToolOutput decodeCodexToolOutput(const json::value& output) {
  const auto* text = output.if_string();
  if (!text) return {.text = output.is_array() ? contentText(&output) : compactJson(output)};
  const auto parsed = parseJson(*text);
  const json::object* wrapped = parsed ? parsed->if_object() : nullptr;
  const auto inner = wrapped ? stringAt(*wrapped, "output") : std::nullopt;
  const json::object* metadata = inner ? objectAt(*wrapped, "metadata") : nullptr;
  if (!metadata) return {.text = std::string(*text)};
  return {.text = std::string(*inner), .exitCode = integerAt(*metadata, "exit_code")};
}

std::optional<Event> parseNotification(std::string_view method, const json::object& params) {
  if (method == "item/agentMessage/delta")
    return MessageDelta{.itemId = textAt(params, "itemId"), .text = textAt(params, "delta")};
  if (method == "item/started") return parseItem(ItemStage::started, params);
  if (method == "item/updated") return parseItem(ItemStage::updated, params);
  if (method == "item/completed") return parseItem(ItemStage::completed, params);
  if (method == "thread/tokenUsage/updated") {
    const json::object* usage = objectAt(params, "tokenUsage");
    return UsageEvent{TokenUsageSnapshot::fromCodexTokenUsage(usage ? *usage : params)};
  }
  if (method == "turn/completed" || method == "turn/aborted" || method == "turn/failed") {
    return parseTurnEnd(method, params);
  }
  if (method == "error") {
    const json::object* error = objectAt(params, "error");
    return ErrorEvent{.message = error ? textAt(*error, "message") : std::string(),
                      .willRetry = boolAt(params, "willRetry").value_or(false)};
  }
  return std::nullopt;
}

json::object modelListParams(const std::optional<std::string>& cursor) {
  json::object params;
  if (cursor) params.emplace("cursor", *cursor);
  return params;
}

std::vector<ProbedModel> modelsOf(const json::object& page) {
  std::vector<ProbedModel> models;
  const json::array* data = arrayAt(page, "data");
  if (!data) return models;
  for (const json::value& value : *data) {
    const json::object* entry = value.if_object();
    if (!entry || boolAt(*entry, "hidden").value_or(false)) continue;
    const auto slug = firstText(*entry, {"model", "id"});
    if (!slug || slug->empty()) continue;
    ProbedModel model{.slug = std::string(*slug),
                      .displayName = optionalTextAt(*entry, "displayName").value_or(std::string(*slug)),
                      .defaultEffort = optionalTextAt(*entry, "defaultReasoningEffort")};
    if (const json::array* efforts = arrayAt(*entry, "supportedReasoningEfforts")) {
      for (const json::value& effort : *efforts) {
        const json::object* named = effort.if_object();
        if (named) model.efforts.push_back(textAt(*named, "reasoningEffort"));
      }
    }
    model.supportsThinking = !model.efforts.empty();
    if (const json::array* tiers = arrayAt(*entry, "additionalSpeedTiers")) {
      model.supportsFastMode = std::ranges::count(*tiers, json::value("fast")) > 0;
    }
    models.push_back(std::move(model));
  }
  return models;
}

std::optional<std::string> nextCursor(const json::object& page) { return optionalTextAt(page, "nextCursor"); }

std::optional<json::object> answerTo(std::string_view method) {
  if (method == "item/commandExecution/requestApproval" || method == "item/fileChange/requestApproval") {
    return json::object{{"decision", "accept"}};
  }
  return std::nullopt;
}

}  // namespace ravant::codex
