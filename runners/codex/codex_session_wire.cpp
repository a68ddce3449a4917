#include "runners/codex/codex_session_wire.hpp"

#include <algorithm>
#include <array>
#include <charconv>
#include <chrono>
#include <utility>

#include "core/token_usage_snapshot.hpp"
#include "runners/agent_json.hpp"
#include "runners/codex/codex_item_spelling.hpp"
#include "runners/codex/codex_tool_text.hpp"

namespace ravant::codex {
namespace {

constexpr std::array<std::string_view, 2> kBookKeeping = {"token_usage_record", "world_state"};
constexpr std::array<std::string_view, 5> kSilentEvents = {
    "agent_reasoning", "agent_reasoning_raw_content", "context_compacted", "entered_review_mode", "exited_review_mode"};
constexpr std::array<std::string_view, 4> kSilentResponses = {"message", "reasoning", "web_search_call",
                                                              "additional_tools"};
constexpr std::array<std::string_view, 3> kCommandTools = {"exec_command", "shell", "shell_command"};
constexpr std::array<std::string_view, 2> kRefusals = {"unsupported call:", "apply_patch verification failed"};
constexpr std::chrono::milliseconds kLongestItem = std::chrono::hours(24);
constexpr std::string_view kPlanTool = "update_plan";
constexpr std::string_view kOutputHead = "Output:\n";
constexpr std::array<std::string_view, 2> kSurroundings = {"# Context from my IDE setup:",
                                                           "# Files mentioned by the user:"};
constexpr std::string_view kTyped = "\n## My request for Codex:\n";
constexpr std::array<std::string_view, 2> kExitCodes = {"Process exited with code ", "Exit code: "};

using Role = SessionRole;

struct Payload {
  const json::object& object;
  std::string_view type;
};
/// Of an event or a response item.
std::optional<Payload> payloadOf(const json::object& line) {
  const json::object* payload = objectAt(line, "payload");
  const auto type = payload ? stringAt(*payload, "type") : std::nullopt;
  return type ? std::optional(Payload{*payload, *type}) : std::nullopt;
}

/// What a shell is to run by a call's arguments; nothing where it is no such call.
std::optional<json::value> commandOf(const json::object& call) {
  if (std::ranges::count(kCommandTools, stringAt(call, "name").value_or("")) == 0) return std::nullopt;
  const auto arguments = parseJson(stringAt(call, "arguments").value_or(""));
  const json::object* members = arguments ? arguments->if_object() : nullptr;
  if (!members) return std::nullopt;
  for (const std::string_view key : {"cmd", "command"}) {
    if (const json::value* command = members->if_contains(key)) return commandLine(*command);
  }
  return std::nullopt;
}

/// What a model was told of a call, without the head that goes before its output.
ToolOutput plainOutput(const json::object& output) {
  const json::value* told = output.if_contains("output");
  ToolOutput plain = told ? decodeCodexToolOutput(*told) : ToolOutput{};
  const std::size_t head = plain.text.starts_with(kOutputHead) ? 0 : plain.text.find("\n" + std::string(kOutputHead));
  if (head == std::string::npos) return plain;
  const std::string_view words = std::string_view(plain.text).substr(0, head);
  for (const std::string_view before : kExitCodes) {
    const std::size_t found = words.find(before);
    if (found == std::string_view::npos) continue;
    std::int64_t code = 0;
    const std::string_view digits = words.substr(found + before.size());
    if (std::from_chars(digits.data(), digits.data() + digits.size(), code).ec == std::errc()) plain.exitCode = code;
  }
  plain.text.erase(0, plain.text.find(kOutputHead, head) + kOutputHead.size());
  return plain;
}

bool isRefusal(const json::object& output) {
  const auto text = stringAt(output, "output");
  return text && std::ranges::any_of(kRefusals, [&](std::string_view refusal) { return text->starts_with(refusal); });
}

/// Nothing that cannot be one.
std::optional<Timestamp> beginningBefore(Timestamp end, const json::object& event) {
  const std::int64_t latest = std::chrono::floor<std::chrono::milliseconds>(end.time_since_epoch()).count();
  const auto begun = integerAt(event, "started_at_ms");
  if (!begun || *begun > latest || *begun < latest - kLongestItem.count()) return std::nullopt;
  return Timestamp(std::chrono::milliseconds(*begun));
}

void readItem(const json::object& event, SessionLine& parsed) {
  const json::object* item = objectAt(event, "item");
  if (!item) return;
  parsed.turnId = textAt(event, "turn_id");
  parsed.callId = textAt(*item, "id");
  if (parsed.at) parsed.begunAt = beginningBefore(*parsed.at, event);
  if (stringAt(*item, "type") == "UserMessage") {
    parsed.role = Role::prompt;
    const json::value* content = item->if_contains("content");
    parsed.text = contentText(content);
    if (parsed.text.empty()) parsed.text = "[image]";
    return;
  }
  parsed.role = Role::item;
  parsed.isEmptyFailure = stringAt(*item, "status") == "failed" && stringAt(*item, "aggregated_output") == "";
}

void readEvent(const Payload& event, SessionLine& parsed) {
  parsed.turnId = textAt(event.object, "turn_id");
  if (event.type == "item_completed") {
    readItem(event.object, parsed);
  } else if (event.type == "task_started") {
    parsed.role = Role::turnStart;
  } else if (event.type == "task_complete") {
    parsed.role = Role::turnEnd;
  } else if (event.type == "turn_aborted") {
    parsed.role = Role::turnAbort;
  } else if (event.type == "token_count") {
    parsed.role = Role::usage;
  } else if (event.type == "thread_settings_applied") {
    const json::object* settings = objectAt(event.object, "thread_settings");
    parsed.role = Role::settings;
    if (settings) parsed.model = textAt(*settings, "model");
  } else if (event.type == "user_message") {
    parsed.role = Role::oldPrompt;
    parsed.text = textAt(event.object, "message");
    if (parsed.text.empty()) parsed.text = "[image]";
  } else if (event.type == "agent_message") {
    parsed.role = Role::oldMessage;
  } else if (std::ranges::count(kSilentEvents, event.type) == 0) {
    parsed.role = Role::unknown;
  }
}

void readResponse(const Payload& response, SessionLine& parsed) {
  parsed.callId = textAt(response.object, "call_id");
  if (response.type == "function_call" || response.type == "custom_tool_call") {
    parsed.role = Role::call;
    parsed.isCommand = commandOf(response.object).has_value();
    parsed.isNeverShown = stringAt(response.object, "name") == kPlanTool;
  } else if (response.type == "function_call_output" || response.type == "custom_tool_call_output") {
    parsed.role = Role::output;
    parsed.isNeverShown = isRefusal(response.object);
  } else if (std::ranges::count(kSilentResponses, response.type) == 0) {
    parsed.role = Role::unknown;
  }
}

json::object startedItem(const json::object& call) {
  json::object item{{"id", textAt(call, "call_id")}, {"status", "inProgress"}};
  if (const auto command = commandOf(call)) {
    item.emplace("type", "commandExecution");
    item.emplace("command", *command);
  } else {
    item.emplace("type", "dynamicToolCall");
    item.emplace("name", textAt(call, "name"));
    item.emplace("arguments", firstText(call, {"arguments", "input"}).value_or(""));
  }
  return item;
}

json::object endedItem(const json::object& told) {
  const ToolOutput output = plainOutput(told);
  const bool hasFailed = output.exitCode.value_or(0) != 0;
  json::object item{{"id", textAt(told, "call_id")},
                    {"type", "commandExecution"},
                    {"aggregatedOutput", output.text},
                    {"status", hasFailed ? "failed" : "completed"}};
  if (output.exitCode) item.emplace("exitCode", *output.exitCode);
  return item;
}

json::object turnEndParams(const json::object& event) {
  json::object turn{{"id", textAt(event, "turn_id")}, {"status", "completed"}};
  if (const json::object* error = objectAt(event, "error")) {
    turn["status"] = "failed";
    turn["error"] = respelled(*error);
  }
  return {{"turn", std::move(turn)}};
}

}  // namespace

std::optional<SessionLine> parseSessionLine(JsonLineParser& parser, std::string_view text) {
  const json::object* line = asObject(parser.parse(text));
  return line ? parseSessionLine(*line) : std::nullopt;
}

std::optional<SessionLine> parseSessionLine(const json::object& line) {
  const auto type = stringAt(line, "type");
  if (!type) return std::nullopt;
  SessionLine parsed{.type = std::string(*type), .ordinal = integerAt(line, "ordinal")};
  if (const auto at = stringAt(line, "timestamp")) parsed.at = parseIso8601(*at);
  const json::object* payload = objectAt(line, "payload");
  if (type == "session_meta" || type == "turn_context") {
    parsed.role = type == "session_meta" ? Role::meta : Role::settings;
    if (payload) parsed.model = textAt(*payload, "model");
    if (payload) parsed.workingDirectory = textAt(*payload, "cwd");
  } else if (type == "event_msg" || type == "response_item") {
    const auto inner = payloadOf(line);
    if (!inner) return std::nullopt;
    parsed.type += "/" + std::string(inner->type);
    if (type == "event_msg") {
      readEvent(*inner, parsed);
    } else {
      readResponse(*inner, parsed);
    }
  } else if (type == "compacted") {
    parsed.role = Role::oldCompaction;
  } else if (std::ranges::count(kBookKeeping, *type) == 0) {
    parsed.role = Role::unknown;
  }
  return parsed;
}

std::optional<SessionMeta> parseSessionMeta(JsonLineParser& parser, std::string_view text) {
  const json::object* line = asObject(parser.parse(text));
  const json::object* payload =
      line && stringAt(*line, "type") == "session_meta" ? objectAt(*line, "payload") : nullptr;
  if (!payload || textAt(*payload, "id").empty()) return std::nullopt;
  const json::object* source = objectAt(*payload, "source");
  SessionMeta meta{.threadId = textAt(*payload, "id"),
                   .isOfSubagent = source && source->contains("subagent"),
                   .hasItems = stringAt(*payload, "history_mode") == "paginated",
                   .workingDirectory = textAt(*payload, "cwd")};
  if (const auto at = firstText(*line, {"timestamp"})) meta.at = parseIso8601(*at);
  if (const json::object* base = objectAt(*payload, "history_base")) {
    meta.base = SessionBase{.file = textAt(*base, "thread_id"),
                            .endOrdinal = readOptionalInt(*base, {"end_ordinal_exclusive"}),
                            .endByte = readOptionalInt(*base, {"end_byte_offset"})};
  }
  return meta;
}

std::string_view withoutSurroundings(std::string_view prompt) {
  const bool isSurrounded =
      std::ranges::any_of(kSurroundings, [&](std::string_view heading) { return prompt.starts_with(heading); });
  const std::size_t typed = isSurrounded ? prompt.find(kTyped) : std::string_view::npos;
  return typed == std::string_view::npos ? prompt : prompt.substr(typed + kTyped.size());
}

std::optional<SessionNotification> notificationOf(const json::object& line) {
  if (stringAt(line, "type") == "compacted") {
    return SessionNotification{"item/completed", {{"item", {{"type", "contextCompaction"}}}}};
  }
  const auto payload = payloadOf(line);
  if (!payload) return std::nullopt;
  const auto& [object, type] = *payload;
  if (type == "item_completed") {
    const json::object* item = objectAt(object, "item");
    if (!item) return std::nullopt;
    return SessionNotification{"item/completed", {{"item", respelled(*item)}, {"turnId", textAt(object, "turn_id")}}};
  }
  if (type == "agent_message") {
    return SessionNotification{"item/completed",
                               {{"item", {{"type", "agentMessage"}, {"text", textAt(object, "message")}}}}};
  }
  if (type == "token_count") return SessionNotification{"thread/tokenUsage/updated", object};
  if (type == "task_complete") return SessionNotification{"turn/completed", turnEndParams(object)};
  if (type == "function_call" || type == "custom_tool_call") {
    return SessionNotification{"item/started", {{"item", startedItem(object)}}};
  }
  if (type == "function_call_output" || type == "custom_tool_call_output") {
    return SessionNotification{"item/completed", {{"item", endedItem(object)}}};
  }
  return std::nullopt;
}

std::optional<ThreadName> parseThreadName(JsonLineParser& parser, std::string_view text) {
  const json::object* line = asObject(parser.parse(text));
  if (!line) return std::nullopt;
  ThreadName name{.threadId = textAt(*line, "id"), .name = textAt(*line, "thread_name")};
  return name.threadId.empty() || name.name.empty() ? std::nullopt : std::optional(std::move(name));
}

}  // namespace ravant::codex
