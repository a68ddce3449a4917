#include "cli/command/arguments.hpp"

#include <iterator>
#include <utility>

namespace ravant::cli {

void Arguments::add(std::string_view name, std::vector<std::string> values) {
  values_.insert_or_assign(std::string(name), std::move(values));
}

std::optional<std::string> Arguments::optional(std::string_view name) const {
  const auto found = values_.find(name);
  return found == values_.end() ? std::nullopt : std::optional(found->second.front());
}

std::optional<std::int64_t> Arguments::count(std::string_view name) const {
  const auto found = values_.find(name);
  return found == values_.end() ? std::nullopt : std::optional<std::int64_t>(std::stoll(found->second.front()));
}

std::vector<std::string> Arguments::list(std::string_view name) const {
  const auto found = values_.find(name);
  return found == values_.end() ? std::vector<std::string>() : found->second;
}

}  // namespace ravant::cli
