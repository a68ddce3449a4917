#include "desktop/conversation/call_input.hpp"

#include <fmt/format.h>

#include <array>
#include <utility>

#include "platform/json/json.hpp"

namespace ravant::desktop {
namespace {

/// By which names agents give what an edit takes away and what it puts there.
constexpr std::array kEdits = {std::pair<std::string_view, std::string_view>{"old_string", "new_string"},
                               std::pair<std::string_view, std::string_view>{"oldText", "newText"}};

void addLines(std::string& text, std::string_view before, std::string_view lines) {
  while (lines.ends_with('\n')) lines.remove_suffix(1);
  if (lines.empty()) return;
  for (std::size_t begin = 0; begin <= lines.size();) {
    const std::size_t end = std::min(lines.find('\n', begin), lines.size());
    text += fmt::format("{}{}\n", before, lines.substr(begin, end - begin));
    begin = end + 1;
  }
}

void addMember(std::string& text, std::string_view key, const json::value& value) {
  const json::string* const words = value.if_string();
  if (!words) {
    text += fmt::format("{}: {}\n", key, compactJson(value));
  } else if (words->find('\n') == json::string::npos) {
    text += fmt::format("{}: {}\n", key, std::string_view(*words));
  } else {
    text += fmt::format("{}:\n", key);
    addLines(text, "  ", *words);
  }
}

}  // namespace

std::string readableInput(std::string_view input) {
  const auto parsed = parseJson(input);
  const json::object* const object = asObject(parsed ? &*parsed : nullptr);
  if (!object || object->empty()) return std::string(input);
  std::string text;
  for (const auto& [key, value] : *object) {
    bool isOfEdit = false;
    for (const auto& [old, replacement] : kEdits) {
      const bool isEdit = stringAt(*object, old) && stringAt(*object, replacement);
      if (isEdit && key == old) addLines(text, "- ", *stringAt(*object, old));
      if (isEdit && key == replacement) addLines(text, "+ ", *stringAt(*object, replacement));
      isOfEdit = isOfEdit || (isEdit && (key == old || key == replacement));
    }
    if (!isOfEdit) addMember(text, key, value);
  }
  return text;
}

}  // namespace ravant::desktop
