#include "cli/output/palette_text.hpp"

#include <algorithm>
#include <optional>

#include "cli/output/terminal_text.hpp"

namespace ravant::cli {
namespace {

constexpr std::size_t kNarrowest = 40;
constexpr std::string_view kIndent = "  ";
constexpr std::string_view kGap = "  ";

std::size_t hintWidth(const std::vector<CommandPaletteSection>& sections) {
  std::size_t width = 0;
  for (const CommandPaletteSection& section : sections) {
    for (const CommandPaletteItem& item : section.items) {
      width = std::max(width, displayWidth(oneLine(item.shortcutHint.value_or(""))));
    }
  }
  return width;
}

/// The title and, where there is room, the subtitle; filled up to the width where keys stand behind it. Whole without
/// a width.
std::string itemText(const CommandPaletteItem& item, std::optional<std::size_t> width, const Style& style) {
  std::string title = oneLine(item.title);
  std::string subtitle = oneLine(item.subtitle.value_or(""));
  if (width) {
    title = cutToWidth(title, *width);
    const std::size_t beside = displayWidth(title) + kGap.size();
    subtitle = beside < *width ? cutToWidth(subtitle, *width - beside) : "";
  }
  std::string text = title;
  if (!subtitle.empty()) text.append(kGap).append(style.dim(subtitle));
  if (!item.shortcutHint) return text;
  const std::size_t filled = displayWidth(title) + (subtitle.empty() ? 0 : kGap.size() + displayWidth(subtitle));
  return text.append(width.value_or(filled) - filled, ' ').append(kGap).append(oneLine(*item.shortcutHint));
}

std::size_t widthBesideHints(std::size_t columns, const std::vector<CommandPaletteSection>& sections) {
  const std::size_t beside = kIndent.size() + kGap.size() + hintWidth(sections);
  return columns > beside + kNarrowest / 2 ? columns - beside : kNarrowest / 2;
}

}  // namespace

std::string paletteText(const std::vector<CommandPaletteSection>& sections, const Style& style) {
  std::optional<std::size_t> width;
  if (style.columns()) width = widthBesideHints(std::max(*style.columns(), kNarrowest), sections);
  std::string text;
  for (const CommandPaletteSection& section : sections) {
    text.append(style.bold(section.title)) += '\n';
    for (const CommandPaletteItem& item : section.items)
      text.append(kIndent).append(itemText(item, width, style)) += '\n';
  }
  return text;
}

json::object jsonForm(const std::vector<CommandPaletteSection>& sections) {
  json::array forms;
  for (const CommandPaletteSection& section : sections) {
    json::array items;
    for (const CommandPaletteItem& item : section.items) {
      json::object form{{"id", item.id}, {"title", item.title}};
      if (item.subtitle) form.emplace("subtitle", *item.subtitle);
      if (item.shortcutHint) form.emplace("shortcutHint", *item.shortcutHint);
      items.push_back(std::move(form));
    }
    forms.push_back({{"title", section.title}, {"items", std::move(items)}});
  }
  return {{"sections", std::move(forms)}};
}

}  // namespace ravant::cli
