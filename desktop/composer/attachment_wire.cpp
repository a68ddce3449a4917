#include "desktop/composer/attachment_wire.hpp"

#include <algorithm>
#include <boost/json.hpp>

namespace ravant::desktop {
namespace {

constexpr std::string_view kPrefix = "Attached: ";

bool isPlain(std::string_view path) {
  return !path.empty() && std::ranges::none_of(path, [](char character) {
    return static_cast<unsigned char>(character) <= ' ' || character == '"' || character == '\\';
  });
}

}  // namespace

std::string attachmentLine(const std::string& path) {
  return std::string(kPrefix) + (isPlain(path) ? path : boost::json::serialize(boost::json::string(path)));
}

std::optional<std::string> attachedPath(std::string_view line) {
  if (!line.starts_with(kPrefix)) return std::nullopt;
  line.remove_prefix(kPrefix.size());
  if (isPlain(line)) return std::string(line);
  boost::system::error_code error;
  const boost::json::value value = boost::json::parse(line, error);
  if (error || !value.is_string() || value.get_string().empty()) return std::nullopt;
  return std::string(value.get_string());
}

}  // namespace ravant::desktop
