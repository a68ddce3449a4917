#include "cli/output/pin_text.hpp"

#include "cli/output/terminal_text.hpp"

namespace ravant::cli {
namespace {

constexpr std::size_t kShortIdSize = 8;

/// What it shows, where its title is another.
std::string contentText(PinnedItem pin) {
  if (!pin.customTitle) return {};
  pin.customTitle.reset();
  return displayTitle(pin);
}

}  // namespace

std::string sourceOf(const PinnedItem& pin) {
  return std::visit([](const auto& detail) { return detail.integration.text(); }, pin.detail);
}

std::string pinsText(const std::vector<PinnedItem>& pins, const std::map<std::string, std::string>& names,
                     const Style& style) {
  Table table({"TITLE", "OF", "ID", "SHOWS"}, {2});
  for (const PinnedItem& pin : pins) {
    const auto name = names.find(sourceOf(pin));
    table.add({displayTitle(pin), name == names.end() ? std::string() : name->second,
               pin.id.text().substr(0, kShortIdSize), contentText(pin)});
  }
  return table.text(style);
}

}  // namespace ravant::cli
