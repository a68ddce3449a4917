#include "runners/element_before.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <string>

namespace ravant {

std::optional<ElementBefore> elementBefore(std::string_view text, std::string_view name) {
  const std::string begin = fmt::format("<{}", name);
  if (!text.starts_with(begin)) return std::nullopt;
  text.remove_prefix(begin.size());
  const std::size_t bracket = text.starts_with('>') ? 0 : text.find("\">") + 1;
  if (bracket == 0 && !text.starts_with('>')) return std::nullopt;
  const std::string_view attributes = text.substr(0, bracket);
  if (!attributes.empty() && !attributes.starts_with(' ')) return std::nullopt;
  text.remove_prefix(bracket + 1);

  const std::string end = fmt::format("</{}>", name);
  const std::string endOnLine = "\n" + end;
  const std::size_t onLine = text.starts_with('\n') ? text.find(endOnLine) : std::string_view::npos;
  const std::size_t found = onLine == std::string_view::npos ? text.find(end) : onLine + 1;
  if (found == std::string_view::npos) return std::nullopt;
  text.remove_prefix(found + end.size());
  text.remove_prefix(std::min(text.find_first_not_of("\r\n"), text.size()));
  return ElementBefore{.attributes = attributes, .rest = text};
}

}  // namespace ravant
