#include "runners/codex/codex_wire.hpp"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <array>
#include <stdexcept>
#include <utility>
#include <vector>

#include "platform/log/log.hpp"
#include "runners/agent_json.hpp"
#include "runners/codex/shell_wrapping.hpp"

namespace ravant::codex {
namespace {

constexpr Log kLog("com.ravant.runners", "CodexWire");

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

// The kinds of failure that are limits.
constexpr std::array<std::string_view, 4> kLimits = {"contextWindowExceeded", "sessionBudgetExceeded",
                                                     "usageLimitExceeded", "rateLimitExceeded"};

constexpr std::string_view kImage = "[image]";

/// An id that is not empty.
std::optional<std::string> idAt(const json::object& object, std::string_view key) {
  auto id = optionalTextAt(object, key);
  return id && id->empty() ? std::nullopt : std::move(id);
}

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

std::string lines(const std::vector<std::string>& texts, std::string_view separator = "\n") {
  return fmt::format("{}", fmt::join(texts, separator));
}

std::string pathsOf(const json::array& changes) {
  std::vector<std::string> paths;
  for (const json::value& change : changes) {
    const json::object* file = change.if_object();
    if (auto path = file ? optionalTextAt(*file, "path") : std::nullopt) paths.push_back(*std::move(path));
  }
  return lines(paths);
}

/// What became of a file beside its contents; empty for one that stayed where it was.
std::string fateOf(const json::object& change) {
  const json::object* kind = objectAt(change, "kind");
  const auto type = stringAt(kind ? *kind : change, kind ? "type" : "kind");
  if (type == "add") return " (added)";
  if (type == "delete") return " (deleted)";
  const auto target = kind ? stringAt(*kind, "move_path") : std::nullopt;
  return target ? fmt::format(" (moved to {})", *target) : std::string();
}

/// Each file's name above its hunks.
std::string diffsOf(const json::array& changes) {
  std::vector<std::string> files;
  for (const json::value& change : changes) {
    const json::object* file = change.if_object();
    if (!file) continue;
    std::string text = textAt(*file, "path") + fateOf(*file);
    auto diff = stringAt(*file, "diff").value_or(std::string_view());
    if (diff.ends_with('\n')) diff.remove_suffix(1);
    if (!diff.empty()) text += fmt::format("\n{}", diff);
    files.push_back(std::move(text));
  }
  return lines(files, "\n\n");
}

/// What stands for a block of a result: its text, or what it is.
std::optional<std::string> blockText(const json::object& block) {
  if (auto text = optionalTextAt(block, "text")) return text;
  const auto type = stringAt(block, "type").value_or(std::string_view());
  if (type == "image" || type == "inputImage" || type == "input_image" || type == "output_image") {
    return std::string(kImage);
  }
  if (const json::object* resource = objectAt(block, "resource")) {
    const auto text = optionalTextAt(*resource, "text");
    return text ? text : fmt::format("[resource] {}", textAt(*resource, "uri"));
  }
  if (type == "resource_link") return textAt(block, "uri");
  if (type.empty()) return std::nullopt;
  return fmt::format("[{}]", type);
}

/// The blocks of a result, or a text.
std::string resultText(const json::value& content) {
  if (const auto* text = content.if_string()) return std::string(*text);
  std::vector<std::string> texts;
  if (const auto* blocks = content.if_array()) {
    for (const json::value& value : *blocks) {
      const json::object* block = value.if_object();
      if (auto text = block ? blockText(*block) : std::nullopt) texts.push_back(*std::move(text));
    }
  }
  return lines(texts);
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
  if (const auto command = stringAt(item, "command")) return withoutShell(*command);
  if (const json::array* changes = arrayAt(item, "changes")) return pathsOf(*changes);
  const auto text = firstText(item, {"query", "path", "prompt", "revisedPrompt"});
  return text && !text->empty() ? std::optional<std::string>(*text) : std::nullopt;
}

/// What the image tools give is an image and, where it was kept, its file.
std::optional<std::string> imageOutput(const json::object& item, std::string_view type, ItemStage stage) {
  if (stage != ItemStage::completed) return std::nullopt;
  const auto file = type == "imageGeneration" ? stringAt(item, "savedPath") : std::nullopt;
  return file ? fmt::format("{} {}", kImage, *file) : std::string(kImage);
}

std::optional<std::string> mcpOutput(const json::object& result) {
  const json::value* content = result.if_contains("content");
  if (std::string text = content ? resultText(*content) : std::string(); !text.empty()) return text;
  const json::value* structured = firstPresent(result, {"structuredContent"});
  return structured ? std::optional(compactJson(*structured)) : std::nullopt;
}

std::optional<std::string> toolOutput(const json::object& item, std::string_view type, ItemStage stage) {
  if (const json::value* output = firstPresent(item, {"output", "contentItems"})) {
    return decodeCodexToolOutput(*output).text;
  }
  if (auto output = optionalTextAt(item, "aggregatedOutput")) return output;
  if (type == "imageView" || type == "imageGeneration") return imageOutput(item, type, stage);
  if (const json::object* result = objectAt(item, "result"); result && result->contains("content")) {
    if (auto output = mcpOutput(*result)) return output;
  }
  if (const json::object* error = objectAt(item, "error")) return textAt(*error, "message");
  if (const json::array* changes = arrayAt(item, "changes")) return diffsOf(*changes);
  const json::value* results = firstPresent(item, {"results", "result"});
  if (!results || type == "mcpToolCall") return std::nullopt;
  const auto* text = results->if_string();
  return text ? std::string(*text) : compactJson(*results);
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
  return ItemEvent{stage, ToolItem{.callId = *std::move(callId),
                                   .name = toolName(*item, *type),
                                   .input = toolInput(*item),
                                   .output = toolOutput(*item, *type, stage),
                                   .exitCode = integerAt(*item, "exitCode"),
                                   .status = toolStatus(*item, stage)}};
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
  try {
    const auto usage = TokenUsageSnapshot::fromCodexTokenUsage(record ? *record : params);
    return usage ? std::optional<Event>(UsageEvent{*usage}) : std::nullopt;
  } catch (const std::overflow_error& absurd) {
    kLog.warning("a usage report is dropped: {}", absurd.what());
    return std::nullopt;
  }
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

ToolOutput decodeCodexToolOutput(const json::value& output) {
  const auto* text = output.if_string();
  if (!text) return {.text = output.is_array() ? resultText(output) : compactJson(output)};
  const auto parsed = parseJson(*text);
  const json::object* wrapped = parsed ? parsed->if_object() : nullptr;
  const auto inner = wrapped ? stringAt(*wrapped, "output") : std::nullopt;
  const json::object* metadata = inner ? objectAt(*wrapped, "metadata") : nullptr;
  if (!metadata) return {.text = std::string(*text)};
  return {.text = std::string(*inner), .exitCode = integerAt(*metadata, "exit_code")};
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
