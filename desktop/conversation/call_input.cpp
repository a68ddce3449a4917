#include "desktop/conversation/call_input.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <utility>

#include "core/line_changes.hpp"
#include "platform/json/json.hpp"

namespace ravant::desktop {
namespace {

using Edit = std::pair<std::string_view, std::string_view>;

/// By which names agents give what an edit takes away and what it puts there.
constexpr std::array kEdits = {Edit{"old_string", "new_string"}, Edit{"oldText", "newText"}};

void addLines(std::string& text, std::string_view before, std::string_view lines) {
  while (lines.ends_with('\n')) lines.remove_suffix(1);
  if (lines.empty()) return;
  for (std::size_t begin = 0; begin <= lines.size();) {
    const std::size_t end = std::min(lines.find('\n', begin), lines.size());
    text += fmt::format("{}{}\n", before, lines.substr(begin, end - begin));
    begin = end + 1;
  }
}

/// What an edit changes, with the lines that stay as they are around it.
void addEdit(std::string& text, std::string_view before, std::string_view after) {
  const auto changes = changedLines(before, after);
  if (!changes) {
    addLines(text, "- ", before);
    addLines(text, "+ ", after);
    return;
  }
  for (const auto& [change, line] : *changes) {
    const bool isRemoved = change == ChangedLine::Change::removed;
    const bool isAdded = change == ChangedLine::Change::added;
    text += fmt::format("{}{}\n", isRemoved ? "- " : isAdded ? "+ " : "  ", line);
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

/// How `object` names what it takes away and what it puts there, if it is an edit.
const Edit* editIn(const json::object& object) {
  const auto* const found = std::ranges::find_if(
      kEdits, [&](const Edit& edit) { return stringAt(object, edit.first) && stringAt(object, edit.second); });
  return found == kEdits.end() ? nullptr : found;
}

bool isListOfEdits(const json::value& value) {
  const json::array* const members = value.if_array();
  return members && !members->empty() && std::ranges::all_of(*members, [](const json::value& member) {
           const json::object* const object = asObject(&member);
           return object && editIn(*object);
         });
}

void addObject(std::string& text, const json::object& object) {
  const Edit* const edit = editIn(object);
  for (const auto& [key, value] : object) {
    if (edit && key == edit->first) {
      addEdit(text, *stringAt(object, edit->first), *stringAt(object, edit->second));
    } else if (edit && key == edit->second) {
      continue;
    } else if (isListOfEdits(value)) {
      for (const json::value& member : value.get_array()) {
        if (!text.empty()) text += '\n';
        addObject(text, member.get_object());
      }
    } else {
      addMember(text, key, value);
    }
  }
}

}  // namespace

std::string readableInput(std::string_view input) {
  const auto parsed = parseJson(input);
  const json::object* const object = asObject(parsed ? &*parsed : nullptr);
  if (!object || object->empty()) return std::string(input);
  std::string text;
  addObject(text, *object);
  return text;
}

}  // namespace ravant::desktop
