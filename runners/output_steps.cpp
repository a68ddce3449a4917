#include "runners/output_steps.hpp"

#include <fmt/format.h>

namespace ravant {
namespace {

constexpr std::size_t kShortOutput = 16UL * 1024;
constexpr std::size_t kWorthTelling = 16;
constexpr std::size_t kLongestOutput = 1024UL * 1024;
constexpr std::string_view kLeftOut = "[the beginning of the output is left out]\n";

}  // namespace

std::optional<std::string> OutputSteps::next(std::string_view output) {
  const std::size_t size = output.size();
  const std::size_t told = toldSize_.value_or(0);
  const std::size_t change = size > told ? size - told : told - size;
  if (toldSize_ && size > kShortOutput && change < size / kWorthTelling) return std::nullopt;
  toldSize_ = size;
  return shortened(output);
}

std::string OutputSteps::shortened(std::string_view output) {
  if (output.size() <= kLongestOutput) return std::string(output);
  output.remove_prefix(output.size() - (kLongestOutput - kLeftOut.size()));
  const std::size_t lineBreak = output.find('\n');
  if (lineBreak < output.size() / 2) {
    output.remove_prefix(lineBreak + 1);
  } else {
    while (!output.empty() && (static_cast<unsigned char>(output.front()) & 0xC0U) == 0x80U) output.remove_prefix(1);
  }
  return fmt::format("{}{}", kLeftOut, output);
}

}  // namespace ravant
