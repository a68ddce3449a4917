#include "runners/cursor/acp_wire.hpp"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <cctype>

#include "platform/log/log.hpp"
#include "platform/text/text.hpp"
#include "runners/agent_json.hpp"

namespace ravant::acp {
namespace {

constexpr std::string_view kCursorLogin = "cursor_login";
constexpr std::size_t kLongRun = 1024;  // of Base64, and no word, path or number

constexpr Log kLog("com.ravant.runners", "CursorAcp");

/// An id that is empty is none.
std::optional<std::string> idAt(const json::object& object, std::string_view key) {
  auto id = optionalTextAt(object, key);
  return id && !id->empty() ? id : std::nullopt;
}

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
  for (const char c : lowerCase(text)) {
    if (c != '-' && c != '_' && c != ' ') word += c;
  }
  return word == "xhigh" ? "extrahigh" : word;
}

/// The text of a content block: a text, a file that is quoted, or the address of one; for what is no text, what it is.
std::string blockText(const json::object& block) {
  const std::string_view type = stringAt(block, "type").value_or(std::string_view());
  if (type == "image" || type == "audio") return fmt::format("[{}]", type);
  if (const auto text = stringAt(block, "text")) return std::string(*text);
  if (const json::object* resource = objectAt(block, "resource")) {
    return optionalTextAt(*resource, "text").value_or(textAt(*resource, "uri"));
  }
  return textAt(block, "uri");
}

MessageChunk parseChunk(const json::object& update, GrowthKind kind) {
  const json::object* content = objectAt(update, "content");
  return {.kind = kind, .messageId = idAt(update, "messageId"), .text = content ? blockText(*content) : std::string()};
}

bool isBase64Character(char c) {
  return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '+' || c == '/' || c == '=';
}

bool isBase64(std::string_view run) {
  const auto has = [run](int (*isOfKind)(int)) {
    return std::ranges::any_of(run, [isOfKind](unsigned char c) { return isOfKind(c) != 0; });
  };
  return run.size() >= kLongRun && has(std::isupper) && has(std::islower) && has(std::isdigit);
}

/// With the size of each long run of Base64 in its place.
std::string withoutBase64(std::string_view text) {
  std::string told;
  for (auto at = text.begin(); at != text.end();) {
    const auto begin = std::find_if(at, text.end(), isBase64Character);
    const auto end = std::find_if_not(begin, text.end(), isBase64Character);
    const std::string_view run(begin, end);
    told.append(at, isBase64(run) ? begin : end);
    if (isBase64(run)) told += fmt::format("[{} bytes of Base64]", run.size());
    at = end;
  }
  return told;
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
  ToolCall call{.id = idAt(update, "toolCallId"),
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
    call.rawOutput = withoutBase64(rawOutputText(*output));
  }
  return call;
}

/// Nothing for a report that says nothing, or what cannot be true.
std::optional<TokenUsageSnapshot> usageOf(const json::object& usage) {
  TokenUsageSnapshot snapshot{.inputTokens = readInt(usage, {"inputTokens"}, 0),
                              .outputTokens = readInt(usage, {"outputTokens"}, 0),
                              .cacheReadTokens = readInt(usage, {"cachedReadTokens"}, 0),
                              .cacheCreationTokens = readInt(usage, {"cachedWriteTokens"}, 0)};
  for (const std::int64_t count :
       {snapshot.inputTokens, snapshot.outputTokens, snapshot.cacheReadTokens, snapshot.cacheCreationTokens}) {
    if (count < 0 || __builtin_add_overflow(snapshot.totalProcessedTokens, count, &snapshot.totalProcessedTokens)) {
      kLog.warning("a usage report is dropped: no number of tokens can be what it says");
      return std::nullopt;
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
  std::optional<std::string> first;
  if (const json::array* methods = arrayAt(initialized, "authMethods")) {
    for (const json::value& method : *methods) {
      const auto id = method.is_object() ? idAt(method.get_object(), "id") : std::nullopt;
      if (id == kCursorLogin) return *id;
      if (!first) first = id;
    }
  }
  return first.value_or(std::string(kCursorLogin));
}

json::object authenticateParams(std::string_view method) { return {{"methodId", method}}; }

json::object sessionParams(std::optional<std::string_view> sessionId, std::string_view workingDirectory) {
  json::object params;
  if (sessionId) params.emplace("sessionId", *sessionId);
  params.emplace("cwd", workingDirectory);
  params.emplace("mcpServers", json::array());
  return params;
}

std::optional<std::string> sessionIdOf(const json::object& object) { return idAt(object, "sessionId"); }

json::object promptParams(std::string_view sessionId, std::string_view prompt) {
  return {{"sessionId", sessionId}, {"prompt", json::array{json::object{{"type", "text"}, {"text", prompt}}}}};
}

json::object cancelParams(std::string_view sessionId) { return {{"sessionId", sessionId}}; }

json::object setConfigOptionParams(std::string_view sessionId, std::string_view configId, std::string_view value) {
  return {{"sessionId", sessionId}, {"configId", configId}, {"value", value}};
}

std::optional<std::vector<ConfigOption>> configOptions(const json::object& params) {
  const json::array* told = arrayAt(params, "configOptions");
  if (!told) return std::nullopt;
  std::vector<ConfigOption> options;
  for (const json::value& entry : *told) {
    const json::object* option = entry.if_object();
    const auto id = option ? idAt(*option, "id") : std::nullopt;
    if (!id) continue;
    options.push_back({.id = *id,
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
  // The first is the one that is used unless another is chosen.
  const auto current = std::ranges::find(models, model->currentValue, &ProbedModel::slug);
  if (current != models.end()) std::rotate(models.begin(), current, current + 1);
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
  if (kind == "agent_message_chunk") return parseChunk(update, GrowthKind::message);
  if (kind == "agent_thought_chunk") return parseChunk(update, GrowthKind::reasoning);
  if (kind == "tool_call") return parseToolCall(update, true);
  if (kind == "tool_call_update") return parseToolCall(update, false);
  if (kind == "usage_update") {
    return ContextUsage{.used = readInt(update, {"used"}, 0), .size = readInt(update, {"size"}, 0)};
  }
  if (kind == "config_option_update") {
    if (auto options = configOptions(update)) return ConfigChange{*std::move(options)};
  }
  if (kind == "compaction_update") {
    if (stringAt(update, "status").value_or("completed") == "completed") return Compaction{};
  }
  return NotRendered{kind};
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
      const auto id = idAt(*option, "optionId");
      if (id) return {{"outcome", {{"outcome", "selected"}, {"optionId", *id}}}};
    }
  }
  return permissionCancelled();
}

json::object permissionCancelled() { return {{"outcome", {{"outcome", "cancelled"}}}}; }

}  // namespace ravant::acp
