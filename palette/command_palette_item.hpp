#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/async/async.hpp"

namespace ravant {

/// A symbol that faces draw by its name, or a picture that comes with the program.
struct CommandPaletteItemImage {
  enum class Kind { system, asset };

  static CommandPaletteItemImage system(std::string_view name) { return {Kind::system, std::string(name)}; }
  static CommandPaletteItemImage asset(std::string_view name) { return {Kind::asset, std::string(name)}; }

  Kind kind;
  std::string name;

  bool operator==(const CommandPaletteItemImage&) const = default;
};

struct CommandPaletteItem {
  std::string id;
  std::string title;
  std::optional<std::string> subtitle;
  CommandPaletteItemImage image;
  std::optional<std::string> shortcutHint;  ///< the keys of a command
  std::function<awaitable<void>()> action;  ///< on the interface executor
};

struct CommandPaletteSection {
  std::string title;
  std::vector<CommandPaletteItem> items;
};

}  // namespace ravant
