#include "runners/cursor/acp_wire.hpp"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <array>
#include <stdexcept>

#include "runners/agent_json.hpp"

namespace ravant::acp {
namespace {

constexpr std::string_view kCursorLogin = "cursor_login";

constexpr std::array<std::string_view, 9> kIgnoredKinds = {
    "agent_thought_chunk", "user_message_chunk",  "plan",        "plan_update", "available_commands_update",
    "current_mode_update", "session_info_update", "mode_update", "notice"};

void addValues(const json::array& options, std::vector<ConfigOption::Value>& values) {
  for (const json::value& entry : options) {
    const json::object* option = entry.if_object();
    if (!option) continue;
    if (const json::array* group = arrayAt(*option, "options")) {
      addValues(*group, values);
    } else {
      values.push_back({.value = textAt(*option, "value"), .name = textAt(*option, "name")});
    }
  }
}

const ConfigOption* findOption(const std::vector<ConfigOption>& options, std::initializer_list<std::string_view> ids,
                               std::string_view category) {
  for (const std::string_view id : ids) {
    const auto found = std::ranges::find(options, id, &ConfigOption::id);
    if (found != options.end()) return &*found;
  }
  const auto found = std::ranges::find(options, category, &ConfigOption::category);
  return found == options.end() ? nullptr : &*found;
}

/// Without case and what parts words, and with one word for the highest effort but one.
std::string plain(std::string_view text) {
  std::string word;
  for (const char c : text) {
    if (c == '-' || c == '_' || c == ' ') continue;
    word += c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  }
  return word == "xhigh" ? "extrahigh" : word;
}

/// The text of a content block: a text, a file that is quoted, or the address of one.
std::string blockText(const json::object& block) {
  if (const auto text = stringAt(block, "text")) return std::string(*text);
  if (const json::object* resource = objectAt(block, "resource")) {
    return optionalTextAt(*resource, "text").value_or(textAt(*resource, "uri"));
  }
  return textAt(block, "uri");
}

std::string rawOutputText(const json::value& output) {
  if (const auto* text = output.if_string()) return std::string(*text);
  const json::object* object = output.if_object();
  if (!object) return compactJson(output);
  for (const std::string_view key : {"output", "stdout", "text"}) {
    const auto text = stringAt(*object, key);
    if (!text) continue;
    const auto complaint = key == "stdout" ? stringAt(*object, "stderr") : std::nullopt;
    return fmt::format("{}{}", *text, complaint.value_or(std::string_view()));
  }
  return compactJson(output);
}

std::optional<ToolInvocationStatus> statusOf(const json::object& update) {
  const auto status = stringAt(update, "status");
  if (!status) return std::nullopt;
  if (*status == "completed") return ToolInvocationStatus::completed;
  if (*status == "failed") return ToolInvocationStatus::failed;
  return ToolInvocationStatus::running;
}

ToolCall parseToolCall(const json::object& update, bool isNew) {
  ToolCall call{.id = textAt(update, "toolCallId"),
                .isNew = isNew,
                .title = optionalTextAt(update, "title"),
                .kind = optionalTextAt(update, "kind"),
                .status = statusOf(update)};
  if (const json::value* input = update.if_contains("rawInput"); input && !input->is_null()) {
    const auto* text = input->if_string();
    call.input = text ? std::string(*text) : compactJson(*input);
  }
  if (const json::array* content = arrayAt(update, "content")) {
    if (std::string text = toolOutputText(*content); !text.empty()) call.output = std::move(text);
  }
  if (const json::value* output = update.if_contains("rawOutput"); output && !output->is_null()) {
    call.rawOutput = rawOutputText(*output);
  }
  return call;
}

/// Nothing for a report that says nothing.
std::optional<TokenUsageSnapshot> usageOf(const json::object& usage) {
  TokenUsageSnapshot snapshot{.inputTokens = readInt(usage, {"inputTokens"}, 0),
                              .outputTokens = readInt(usage, {"outputTokens"}, 0),
                              .cacheReadTokens = readInt(usage, {"cachedReadTokens"}, 0),
                              .cacheCreationTokens = readInt(usage, {"cachedWriteTokens"}, 0)};
  for (const std::int64_t count :
       {snapshot.inputTokens, snapshot.outputTokens, snapshot.cacheReadTokens, snapshot.cacheCreationTokens}) {
    if (__builtin_add_overflow(snapshot.totalProcessedTokens, count, &snapshot.totalProcessedTokens)) {
      throw std::overflow_error("the agent's token counts are too large");
    }
  }
  snapshot.totalProcessedTokens = readInt(usage, {"totalTokens"}, snapshot.totalProcessedTokens);
  snapshot.usedTokens = snapshot.totalProcessedTokens;
  if (snapshot.totalProcessedTokens <= 0) return std::nullopt;
  return snapshot;
}

}  // namespace

json::object initializeParams() {
  return {{"protocolVersion", 1},
          {"clientInfo", {{"name", "ravant"}, {"title", "Ravant"}, {"version", "0.1.0"}}},
          {"clientCapabilities",
           {{"fs", {{"readTextFile", false}, {"writeTextFile", false}}},
            {"terminal", false},
            {"_meta", {{"parameterizedModelPicker", true}}}}}};
}

std::string authMethod(const json::object& initialized) {
  std::string first;
  if (const json::array* methods = arrayAt(initialized, "authMethods")) {
    for (const json::value& method : *methods) {
      const std::string id = method.is_object() ? textAt(method.get_object(), "id") : std::string();
      if (id == kCursorLogin) return id;
      if (first.empty()) first = id;
    }
  }
  return first.empty() ? std::string(kCursorLogin) : first;
}

json::object sessionParams(std::optional<std::string_view> sessionId, std::string_view workingDirectory) {
  json::object params;
  if (sessionId) params.emplace("sessionId", *sessionId);
  params.emplace("cwd", workingDirectory);
  params.emplace("mcpServers", json::array());
  return params;
}

json::object promptParams(std::string_view sessionId, std::string_view prompt) {
  return {{"sessionId", sessionId}, {"prompt", json::array{json::object{{"type", "text"}, {"text", prompt}}}}};
}

json::object setConfigOptionParams(std::string_view sessionId, std::string_view configId, std::string_view value) {
  return {{"sessionId", sessionId}, {"configId", configId}, {"value", value}};
}

std::optional<std::vector<ConfigOption>> configOptions(const json::object& params) {
  const json::array* told = arrayAt(params, "configOptions");
  if (!told) return std::nullopt;
  std::vector<ConfigOption> options;
  for (const json::value& entry : *told) {
    const json::object* option = entry.if_object();
    if (!option) continue;
    options.push_back({.id = textAt(*option, "id"),
                       .category = textAt(*option, "category"),
                       .currentValue = textAt(*option, "currentValue"),
                       .values = {}});
    if (const json::array* values = arrayAt(*option, "options")) addValues(*values, options.back().values);
  }
  return options;
}

std::vector<ProbedModel> modelsOf(const std::vector<ConfigOption>& options) {
  std::vector<ProbedModel> models;
  const ConfigOption* model = modelOption(options);
  if (!model) return models;
  std::vector<std::string> efforts;
  if (const ConfigOption* effort = effortOption(options)) {
    for (const ConfigOption::Value& value : effort->values) efforts.push_back(value.value);
  }
  for (const ConfigOption::Value& value : model->values) {
    if (value.value.empty()) continue;
    models.push_back({.slug = value.value,
                      .displayName = value.name.empty() ? value.value : value.name,
                      .efforts = efforts,
                      .supportsThinking = !efforts.empty()});
  }
  return models;
}

const ConfigOption* modelOption(const std::vector<ConfigOption>& options) {
  return findOption(options, {"model"}, "model");
}

const ConfigOption* effortOption(const std::vector<ConfigOption>& options) {
  return findOption(options, {"effort", "reasoning"}, "thought_level");
}

std::optional<std::string> matchOptionValue(const ConfigOption& option, std::string_view requested) {
  for (const ConfigOption::Value& value : option.values) {
    if (value.value == requested) return value.value;
  }
  for (const ConfigOption::Value& value : option.values) {
    if (plain(value.value) == plain(requested) || plain(value.name) == plain(requested)) return value.value;
  }
  return std::nullopt;
}

Update parseUpdate(const json::object& update) {
  const std::string kind = textAt(update, "sessionUpdate");
  if (kind == "agent_message_chunk") {
    const json::object* content = objectAt(update, "content");
    return MessageChunk{.messageId = optionalTextAt(update, "messageId"),
                        .text = content ? blockText(*content) : std::string()};
  }
  if (kind == "tool_call") return parseToolCall(update, true);
  if (kind == "tool_call_update") return parseToolCall(update, false);
  if (kind == "usage_update") {
    return ContextUsage{.used = readInt(update, {"used"}, 0), .size = readInt(update, {"size"}, 0)};
  }
  if (kind == "config_option_update") {
    auto options = configOptions(update);
    return options ? Update(ConfigChange{*std::move(options)}) : Update(Ignored{});
  }
  if (kind == "compaction_update") {
    const std::string_view status = stringAt(update, "status").value_or("completed");
    return status == "completed" ? Update(Compaction{}) : Update(Ignored{});
  }
  if (std::ranges::count(kIgnoredKinds, kind) > 0) return Ignored{};
  return Unknown{kind};
}

std::string toolOutputText(const json::array& content) {
  std::vector<std::string> texts;
  for (const json::value& entry : content) {
    const json::object* block = entry.if_object();
    if (!block) continue;
    const std::string_view type = stringAt(*block, "type").value_or(std::string_view());
    if (type == "diff") {
      texts.push_back(fmt::format("{}\n{}", textAt(*block, "path"), textAt(*block, "newText")));
      continue;
    }
    const json::object* inner = type == "content" ? objectAt(*block, "content") : block;
    if (std::string text = inner ? blockText(*inner) : std::string(); !text.empty()) texts.push_back(std::move(text));
  }
  return fmt::format("{}", fmt::join(texts, "\n"));
}

PromptEnd parsePromptEnd(const json::object& result) {
  const json::object* usage = objectAt(result, "usage");
  return {.stopReason = textAt(result, "stopReason"), .usage = usage ? usageOf(*usage) : std::nullopt};
}

json::object permissionGranted(const json::object& params) {
  if (const json::array* options = arrayAt(params, "options")) {
    for (const json::value& entry : *options) {
      const json::object* option = entry.if_object();
      if (!option || !textAt(*option, "kind").starts_with("allow")) continue;
      return {{"outcome", {{"outcome", "selected"}, {"optionId", textAt(*option, "optionId")}}}};
    }
  }
  return permissionCancelled();
}

json::object permissionCancelled() { return {{"outcome", {{"outcome", "cancelled"}}}}; }

}  // namespace ravant::acp
