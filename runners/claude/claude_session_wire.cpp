#include "runners/claude/claude_session_wire.hpp"

#include <algorithm>
#include <array>

#include "runners/agent_json.hpp"
#include "runners/element_before.hpp"

namespace ravant::claude {
namespace {

constexpr std::array<std::string_view, 13> kBookKeeping = {
    "attachment",        "queue-operation",  "last-prompt",          "mode",        "permission-mode",
    "atis-latch",        "tools-used",       "cost-state",           "api-request", "file-history-delta",
    "api-request-shape", "api-request-blob", "file-history-snapshot"};

// Elements that stand before what was typed in an editor.
constexpr std::array<std::string_view, 3> kSurroundings = {"ide_opened_file", "ide_selection", "system-reminder"};
// How the texts begin that the program writes in the user's place.
constexpr std::array<std::string_view, 10> kProgramsWords = {
    "<command-name>",         "<command-message>", "<command-args>", "<local-command-stdout>", "<local-command-stderr>",
    "<local-command-caveat>", "<bash-input>",      "<bash-stdout>",  "<bash-stderr>",          "<task-notification>"};
// Those of them that stand where the user gave a command.
constexpr std::array<std::string_view, 3> kCommands = {"<command-name>", "<command-message>", "<bash-input>"};
constexpr std::array<std::string_view, 3> kSystemBookKeeping = {"turn_duration", "local_command", "api_error"};
constexpr std::string_view kInterruption = "[Request interrupted by user";
constexpr std::string_view kNothingToSay = "No response requested.";
constexpr std::string_view kImage = "[image]";

template <std::size_t count>
bool beginsWithOne(const std::array<std::string_view, count>& beginnings, std::string_view text) {
  return std::ranges::any_of(beginnings, [&](std::string_view beginning) { return text.starts_with(beginning); });
}

bool isOfType(const json::value& block, std::string_view type) {
  const json::object* object = block.if_object();
  return object && stringAt(*object, "type") == type;
}

std::string promptText(const json::value* content) {
  std::string text = contentText(content);
  const json::array* blocks = content ? content->if_array() : nullptr;
  const bool hasImage =
      blocks && std::ranges::any_of(*blocks, [](const auto& block) { return isOfType(block, "image"); });
  return text.empty() && hasImage ? std::string(kImage) : text;
}

void readUser(const json::object& line, const json::object& message, SessionLine& parsed) {
  const json::value* content = message.if_contains("content");
  if (const json::array* blocks = content ? content->if_array() : nullptr) {
    for (const json::value& block : *blocks) {
      if (isOfType(block, "tool_result")) parsed.results.push_back(textAt(block.get_object(), "tool_use_id"));
    }
  }
  parsed.text = promptText(content);
  const json::object* origin = objectAt(line, "origin");
  const bool isMeta = boolAt(line, "isMeta").value_or(false);
  const bool isOfProgram = isMeta || boolAt(line, "isCompactSummary").value_or(false) ||
                           beginsWithOne(kProgramsWords, parsed.text) || stringAt(line, "promptSource") == "system" ||
                           (origin && stringAt(*origin, "kind") == "task-notification");
  if (!parsed.results.empty()) {
    parsed.role = SessionRole::results;
  } else if (parsed.text.starts_with(kInterruption)) {
    parsed.role = SessionRole::interruption;
  } else if (!isOfProgram && !parsed.text.empty()) {
    parsed.role = SessionRole::prompt;
    parsed.isQueued = stringAt(line, "promptSource") == "queued";
  } else {
    parsed.isCommand = !isMeta && beginsWithOne(kCommands, parsed.text);
  }
}

void readAssistant(const json::object& line, const json::object& message, SessionLine& parsed) {
  const json::value* content = message.if_contains("content");
  parsed.text = contentText(content);
  if (boolAt(line, "isApiErrorMessage").value_or(false)) {
    parsed.role = SessionRole::failure;
    return;
  }
  parsed.isSynthetic = stringAt(message, "model") == kSyntheticModel;
  if (parsed.isSynthetic && parsed.text == kNothingToSay) return;
  parsed.role = SessionRole::reply;
  bool endsInText = content && content->is_string();
  if (const json::array* blocks = content ? content->if_array() : nullptr) {
    for (const json::value& block : *blocks) {
      if (isOfType(block, "tool_use")) parsed.calls.push_back(textAt(block.get_object(), "id"));
      endsInText = isOfType(block, "text");
    }
  }
  parsed.isLastReply = endsInText && parsed.calls.empty() && stringAt(message, "stop_reason") != "tool_use";
}

void readSystem(const json::object& line, SessionLine& parsed) {
  const std::string subtype = textAt(line, "subtype");
  parsed.type += "/" + subtype;
  if (subtype == "compact_boundary") {
    parsed.role = SessionRole::compaction;
  } else if (std::ranges::count(kSystemBookKeeping, subtype) == 0) {
    parsed.role = SessionRole::unknown;
  }
}

void readTitle(std::optional<std::string_view> title, SessionRole role, SessionLine& parsed) {
  if (!title || title->empty()) return;
  parsed.role = role;
  parsed.text = *title;
}

}  // namespace

std::optional<SessionLine> parseSessionLine(JsonLineParser& parser, std::string_view text) {
  const json::object* line = asObject(parser.parse(text));
  const auto type = line ? stringAt(*line, "type") : std::nullopt;
  if (!type) return std::nullopt;
  SessionLine parsed{.type = std::string(*type),
                     .uuid = textAt(*line, "uuid"),
                     .isSidechain = boolAt(*line, "isSidechain").value_or(false),
                     .workingDirectory = textAt(*line, "cwd")};
  const auto parent = firstText(*line, {"parentUuid", "logicalParentUuid"});
  if (parent) parsed.parent = *parent;
  if (const auto at = stringAt(*line, "timestamp")) parsed.at = parseIso8601(*at);

  const json::object* message = objectAt(*line, "message");
  if (type == "user" && message) {
    readUser(*line, *message, parsed);
  } else if (type == "assistant" && message) {
    readAssistant(*line, *message, parsed);
  } else if (type == "system") {
    readSystem(*line, parsed);
  } else if (type == "custom-title" || type == "agent-name") {
    readTitle(firstText(*line, {"customTitle", "agentName", "title", "name"}), SessionRole::title, parsed);
  } else if (type == "summary") {
    parsed.leaf = textAt(*line, "leafUuid");
    readTitle(stringAt(*line, "summary"), SessionRole::summary, parsed);
  } else if (std::ranges::count(kBookKeeping, *type) == 0) {
    parsed.role = SessionRole::unknown;
  }
  return parsed;
}

std::string_view withoutSurroundings(std::string_view prompt) {
  const auto next = [&prompt] {
    for (const std::string_view name : kSurroundings) {
      if (const auto element = elementBefore(prompt, name)) return element;
    }
    return std::optional<ElementBefore>();
  };
  while (const auto element = next()) prompt = element->rest;
  return prompt;
}

}  // namespace ravant::claude
