#include "cli/output/printed_since.hpp"

#include <vector>

namespace ravant::cli {
namespace {

constexpr std::size_t kLeastOverlap = 16;  // bytes

/// The length of the longest start of `now` with which `before` ends, in the way of Knuth, Morris and Pratt.
std::size_t overlap(std::string_view before, std::string_view now) {
  std::vector<std::size_t> shorter(now.size() + 1);  // the next shorter overlap of each start of `now` with itself
  const auto extended = [&](std::size_t length, char byte) {
    while (length > 0 && (length == now.size() || now[length] != byte)) length = shorter[length];
    return now[length] == byte ? length + 1 : length;
  };
  for (std::size_t i = 1; i < now.size(); ++i) shorter[i + 1] = extended(shorter[i], now[i]);
  std::size_t length = 0;
  for (const char byte : before) length = extended(length, byte);
  return length;
}

}  // namespace

std::string_view printedSince(std::string_view before, std::string_view now) {
  if (now.starts_with(before)) return now.substr(before.size());
  if (now.empty()) return now;
  const std::size_t common = overlap(before, now);
  return common < kLeastOverlap ? now : now.substr(common);
}

}  // namespace ravant::cli
