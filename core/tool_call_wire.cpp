#include "core/tool_call_wire.hpp"

#include <algorithm>
#include <initializer_list>

#include "platform/json/json.hpp"

namespace ravant {
namespace {

constexpr std::size_t kReadBytes = 64 * 1024;
/// As many bytes as an escaped pair of surrogates has.
constexpr std::size_t kLongestEscape = 12;

/// The object that `text` begins with, where it is cut within a text.
std::optional<json::value> parsedBeginning(std::string_view text) {
  for (std::size_t dropped = 0; dropped <= kLongestEscape; ++dropped) {
    if (auto value = parseJson(std::string(text.substr(0, kReadBytes - dropped)) + "\"}")) return value;
  }
  return std::nullopt;
}

std::string firstOf(const json::object& object, std::initializer_list<std::string_view> keys) {
  for (const std::string_view key : keys) {
    if (const auto text = stringAt(object, key)) return std::string(*text);
  }
  return {};
}

/// A text, or the words of a command line, of which a shell's script says all.
std::string commandOf(const json::object& object) {
  const json::array* words = arrayAt(object, "command");
  if (!words) return firstOf(object, {"command", "cmd", "script"});
  std::string line;
  for (const json::value& value : *words) {
    const auto* word = value.if_string();
    if (!word) return {};
    if (words->size() == 3 && line.ends_with("sh -lc")) return std::string(*word);
    if (words->size() == 3 && line.ends_with("sh -c")) return std::string(*word);
    line += (line.empty() ? "" : " ") + std::string(*word);
  }
  return line;
}

std::optional<LineChanges> changesOfReplacement(const json::object& object, std::size_t mostPairs) {
  const auto before = firstOf(object, {"old_string", "oldString", "oldText"});
  const bool hasAfter = object.contains("new_string") || object.contains("newString") || object.contains("newText");
  const bool isOften = boolAt(object, "replace_all").value_or(false) || boolAt(object, "replaceAll").value_or(false);
  if (!hasAfter || isOften) return std::nullopt;
  return lineChanges(before, firstOf(object, {"new_string", "newString", "newText"}), mostPairs);
}

std::optional<LineChanges> changesOf(const json::object& object) {
  const json::array* edits = arrayAt(object, "edits");
  if (!edits) return changesOfReplacement(object, kMostPairs);
  LineChanges all;
  for (const json::value& value : *edits) {
    const json::object* edit = asObject(&value);
    const auto changes = edit ? changesOfReplacement(*edit, kMostPairs / edits->size()) : std::nullopt;
    if (!changes) return std::nullopt;
    all += *changes;
  }
  return all;
}

std::optional<std::string> firstTextOf(const json::object& object) {
  for (const auto& member : object) {
    if (const auto* text = member.value().if_string()) return std::string(*text);
  }
  return std::nullopt;
}

}  // namespace

ToolInput readToolInput(std::string_view input) {
  const bool isWhole = input.size() <= kReadBytes;
  const bool isObject = input.starts_with('{');
  const auto value = !isObject ? std::nullopt : isWhole ? parseJson(input) : parsedBeginning(input);
  const json::object* object = value ? asObject(&*value) : nullptr;
  if (!object) return {.firstText = std::string(input.substr(0, kReadBytes)), .isWhole = isWhole};
  return {.path = firstOf(*object, {"file_path", "filePath", "path", "notebook_path", "abs_path"}),
          .command = commandOf(*object),
          .query = firstOf(*object, {"pattern", "query", "regex"}),
          .address = firstOf(*object, {"url", "uri"}),
          .task = firstOf(*object, {"description", "prompt"}),
          .firstText = firstTextOf(*object).value_or(std::string()),
          .isObject = true,
          .isWhole = isWhole,
          .changes = isWhole ? changesOf(*object) : std::nullopt};
}

std::string toolKindOf(const ToolInvocation& invocation) {
  if (invocation.rawJSON.size() > kReadBytes || !invocation.rawJSON.contains("\"sessionUpdate\"")) return {};
  const auto record = parseJson(invocation.rawJSON);
  const json::object* object = record ? asObject(&*record) : nullptr;
  const json::object* parameters = object ? objectAt(*object, "params") : nullptr;
  const json::object* update = parameters ? objectAt(*parameters, "update") : nullptr;
  return update ? firstOf(*update, {"kind"}) : std::string();
}

std::string toolInputWords(const std::string& input) {
  const auto value = parseJson(input);
  const json::object* object = value ? asObject(&*value) : nullptr;
  const auto text = object ? firstTextOf(*object) : std::nullopt;
  return text.value_or(input);
}

}  // namespace ravant
