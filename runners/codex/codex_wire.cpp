#include "runners/codex/codex_wire.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <utility>
#include <vector>

#include "platform/log/log.hpp"
#include "runners/agent_json.hpp"
#include "runners/codex/codex_tool_text.hpp"

namespace ravant::codex {
namespace {

constexpr Log kLog("com.ravant.runners", "CodexWire");

// Items of the server's own book-keeping.
constexpr std::array<std::string_view, 10> kHiddenItems = {
    "reasoning",        "userMessage",       "user_message",     "plan", "hookPrompt", "functionCallOutput",
    "subAgentActivity", "enteredReviewMode", "exitedReviewMode", "sleep"};

// The kinds of failure that are limits.
constexpr std::array<std::string_view, 4> kLimits = {"contextWindowExceeded", "sessionBudgetExceeded",
                                                     "usageLimitExceeded", "rateLimitExceeded"};

/// An id that is not empty.
std::optional<std::string> idAt(const json::object& object, std::string_view key) {
  auto id = optionalTextAt(object, key);
  return id && id->empty() ? std::nullopt : std::move(id);
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
    return ItemEvent{stage, MessageItem{idAt(*item, "id"), std::string(text.value_or(std::string_view()))}};
  }
  if (*type == "contextCompaction") return ItemEvent{stage, CompactionItem{}};
  auto callId = idAt(*item, "call_id");
  if (!callId) callId = idAt(*item, "id");
  if (!callId) {
    kLog.warning("a call without an id is not shown: {}", *type);
    return std::nullopt;
  }
  ToolItem tool{.callId = *std::move(callId),
                .name = toolName(*item, *type),
                .input = toolInput(*item),
                .exitCode = integerAt(*item, "exitCode"),
                .status = toolStatus(*item, stage)};
  if (auto output = toolOutput(*item, *type, stage)) {
    tool.output = std::move(output->text);
    if (!tool.exitCode) tool.exitCode = output->exitCode;
  }
  return ItemEvent{stage, std::move(tool)};
}

FailureCause causeOf(const json::object& error) {
  const json::value* info = error.if_contains("codexErrorInfo");
  const json::object* detailed = asObject(info);
  // A word, or an object with the word as its one member.
  const std::string_view kind = detailed && !detailed->empty() ? std::string_view(detailed->begin()->key())
                                                               : stringAt(error, "codexErrorInfo").value_or("");
  return std::ranges::count(kLimits, kind) > 0 ? FailureCause::limit : FailureCause::error;
}

/// Nothing for an error without words.
std::optional<Failure> failureOf(const json::object* error) {
  auto message = error ? optionalTextAt(*error, "message") : std::nullopt;
  if (!message) return std::nullopt;
  return Failure{
      .message = *std::move(message), .details = optionalTextAt(*error, "additionalDetails"), .cause = causeOf(*error)};
}

TurnEnded parseTurnEnd(std::string_view method, const json::object& params) {
  TurnEnded end{.turnId = extractTurnId(params)};
  const json::object* error = objectAt(params, "error");
  bool isFailed = method != "turn/completed" || error != nullptr;
  if (const json::object* turn = objectAt(params, "turn")) {
    const json::object* turnError = objectAt(*turn, "error");
    isFailed |= stringAt(*turn, "status") == "failed" || turnError != nullptr;
    if (!error) error = turnError;
  }
  end.failed = isFailed;
  end.failure = failureOf(error);
  return end;
}

std::optional<Event> parseUsage(const json::object& params) {
  const json::object* record = objectAt(params, "tokenUsage");
  const auto usage = TokenUsageSnapshot::fromCodexTokenUsage(record ? *record : params);
  return usage ? std::optional<Event>(UsageEvent{*usage}) : std::nullopt;
}

std::optional<Event> parseOutputDelta(const json::object& params) {
  auto callId = idAt(params, "itemId");
  if (!callId) return std::nullopt;
  return OutputDelta{.callId = *std::move(callId), .text = textAt(params, "delta")};
}

std::optional<Event> parseReasoningDelta(const json::object& params, std::string_view index) {
  return ReasoningDelta{
      .part = fmt::format("{} {} {}", textAt(params, "itemId"), index, integerAt(params, index).value_or(0)),
      .text = textAt(params, "delta")};
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

bool isUnknownThread(std::string_view refusal) {
  return refusal.contains("no rollout found for thread id") || refusal.contains("thread not found");
}

std::optional<std::string> extractThreadId(const json::object& params) {
  const json::object* thread = objectAt(params, "thread");
  if (auto id = thread ? idAt(*thread, "id") : std::nullopt) return id;
  return idAt(params, "threadId");
}

std::optional<std::string> extractTurnId(const json::object& params) {
  const json::object* turn = objectAt(params, "turn");
  if (auto id = turn ? idAt(*turn, "id") : std::nullopt) return id;
  return idAt(params, "turnId");
}

std::optional<Event> parseNotification(std::string_view method, const json::object& params) {
  if (method == "item/agentMessage/delta")
    return MessageDelta{.itemId = idAt(params, "itemId"), .text = textAt(params, "delta")};
  if (method == "item/commandExecution/outputDelta") return parseOutputDelta(params);
  if (method == "item/reasoning/textDelta") return parseReasoningDelta(params, "contentIndex");
  if (method == "item/reasoning/summaryTextDelta") return parseReasoningDelta(params, "summaryIndex");
  if (method == "item/started") return parseItem(ItemStage::started, params);
  if (method == "item/updated") return parseItem(ItemStage::updated, params);
  if (method == "item/completed") return parseItem(ItemStage::completed, params);
  if (method == "thread/tokenUsage/updated") return parseUsage(params);
  if (method == "turn/completed" || method == "turn/aborted" || method == "turn/failed") {
    return parseTurnEnd(method, params);
  }
  if (method == "error") {
    return ErrorEvent{.failure = failureOf(objectAt(params, "error")).value_or(Failure()),
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
