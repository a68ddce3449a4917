#include "core/reasoning_effort_label.hpp"

#include <algorithm>
#include <array>
#include <utility>

namespace ravant {
namespace {

constexpr std::array<std::pair<std::string_view, std::string_view>, 6> kLabels = {{
    {"low", "Low"},
    {"medium", "Medium"},
    {"high", "High"},
    {"xhigh", "Extra High"},
    {"max", "Max"},
    {"ultrathink", "Ultrathink"},
}};

bool isAsciiLetterOrDigit(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
         static_cast<unsigned char>(c) >= 0x80;
}

}  // namespace

std::string reasoningEffortLabel(std::string_view effort) {
  const auto* known = std::ranges::find(kLabels, effort, &std::pair<std::string_view, std::string_view>::first);
  if (known != kLabels.end()) return std::string(known->second);

  std::string label(effort);
  bool wordBegins = true;
  for (char& c : label) {
    if (wordBegins && c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
    wordBegins = !isAsciiLetterOrDigit(c) && c != '\'';
  }
  return label;
}

}  // namespace ravant
