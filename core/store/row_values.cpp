#include "core/store/row_values.hpp"

#include "platform/json/json.hpp"

namespace ravant {

std::string bound(const std::vector<std::string>& texts) {
  return compactJson(json::array(texts.begin(), texts.end()));
}

std::vector<std::string> readTexts(const sqlite::Query& row, int column) {
  std::vector<std::string> texts;
  const auto list = parseJson(row.text(column));
  if (!list || !list->is_array()) return texts;
  for (const json::value& text : list->get_array()) {
    if (text.is_string()) texts.emplace_back(text.get_string());
  }
  return texts;
}

}  // namespace ravant
