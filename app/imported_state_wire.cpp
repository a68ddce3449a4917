#include "app/imported_state_wire.hpp"

#include "platform/json/json.hpp"

namespace ravant {

std::string importedStateText(const ImportedState& state) {
  json::object form{{"size", state.size}};
  if (state.title) form.emplace("title", *state.title);
  if (state.isArchived) form.emplace("archived", true);
  if (state.lastRecord) form.emplace("lastRecord", *state.lastRecord);
  return compactJson(form);
}

ImportedState parseImportedState(const std::string& text) {
  const auto parsed = parseJson(text);
  const json::object* form = parsed ? parsed->if_object() : nullptr;
  if (!form) return {};
  ImportedState state{.size = integerAt(*form, "size").value_or(0),
                      .title = {},
                      .isArchived = boolAt(*form, "archived").value_or(false),
                      .lastRecord = integerAt(*form, "lastRecord")};
  if (const auto title = stringAt(*form, "title")) state.title = std::string(*title);
  return state;
}

}  // namespace ravant
