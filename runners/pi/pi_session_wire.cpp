#include "runners/pi/pi_session_wire.hpp"

#include <algorithm>
#include <array>

#include "runners/agent_json.hpp"
#include "runners/element_before.hpp"

namespace ravant::pi {
namespace {

constexpr std::array<std::string_view, 3> kBookKeeping = {"thinking_level_change", "branch_summary", "custom"};
constexpr std::array<std::string_view, 2> kSilentRoles = {"system", "bashExecution"};
constexpr std::string_view kInterrupted = "This operation was aborted";

/// By which Pi is asked for the model.
std::string modelOf(const json::object& object, std::string_view key) {
  const std::string model = textAt(object, key);
  const std::string provider = textAt(object, "provider");
  return model.empty() || provider.empty() ? model : provider + "/" + model;
}

void readMessage(const json::object& message, SessionEntry& parsed) {
  const auto role = stringAt(message, "role");
  if (role == "user") {
    parsed.role = SessionRole::prompt;
    parsed.text = contentText(message.if_contains("content"));
    if (parsed.text.empty()) parsed.text = "[image]";
  } else if (role == "assistant") {
    const auto stopReason = stringAt(message, "stopReason");
    parsed.role = SessionRole::reply;
    parsed.model = modelOf(message, "model");
    parsed.isInterrupted =
        stopReason == "aborted" || stringAt(message, "errorMessage").value_or("").contains(kInterrupted);
    parsed.isLastReply = parsed.isInterrupted || (stopReason != "toolUse" && stopReason != "error");
  } else if (role == "toolResult") {
    parsed.role = SessionRole::result;
  } else if (std::ranges::count(kSilentRoles, role.value_or("")) == 0) {
    parsed.role = SessionRole::unknown;
    parsed.type += "/" + std::string(role.value_or(""));
  }
}

}  // namespace

std::optional<FileBefore> fileBefore(std::string_view prompt) {
  constexpr std::string_view kName = " name=\"";
  const auto element = elementBefore(prompt, "file");
  if (!element || !element->attributes.starts_with(kName) || !element->attributes.ends_with('"')) return std::nullopt;
  const std::string_view path = element->attributes.substr(kName.size());
  return FileBefore{.path = std::string(path.substr(0, path.size() - 1)), .rest = element->rest};
}

std::optional<SessionEntry> parseSessionEntry(JsonLineParser& parser, std::string_view text) {
  const json::object* line = asObject(parser.parse(text));
  return line ? parseSessionEntry(*line) : std::nullopt;
}

std::optional<SessionEntry> parseSessionEntry(const json::object& line) {
  const auto type = stringAt(line, "type");
  if (!type) return std::nullopt;
  SessionEntry parsed{.type = std::string(*type), .id = textAt(line, "id"), .parent = textAt(line, "parentId")};
  if (const auto at = stringAt(line, "timestamp")) parsed.at = parseIso8601(*at);
  if (type == "session") {
    parsed.role = SessionRole::header;
    parsed.workingDirectory = textAt(line, "cwd");
  } else if (type == "message") {
    if (const json::object* message = objectAt(line, "message")) readMessage(*message, parsed);
  } else if (type == "compaction") {
    parsed.role = SessionRole::compaction;
  } else if (type == "session_info") {
    parsed.role = SessionRole::name;
    parsed.text = textAt(line, "name");
  } else if (type == "model_change") {
    parsed.role = SessionRole::modelChange;
    parsed.model = modelOf(line, "modelId");
  } else if (type == "context_edit") {
    parsed.role = SessionRole::correction;
    parsed.target = textAt(line, "targetId");
  } else if (std::ranges::count(kBookKeeping, *type) == 0) {
    parsed.role = SessionRole::unknown;
  }
  return parsed;
}

}  // namespace ravant::pi
