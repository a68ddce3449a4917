#pragma once

#include <span>
#include <string_view>

namespace ravant {

/// Marks a file as a Ravant store ("RVNT").
inline constexpr int kApplicationId = 0x52564E54;

/// One step of the store's format: a script that is run in one transaction. The step at index n
/// leads from version n to n + 1. A released step is never edited.
struct Migration {
  std::string_view script;
};

/// The steps from an empty file to the present format.
std::span<const Migration> migrations();

/// Creates the search index in place of what there is of it, however damaged that is. It is empty then, and all that is
/// stored waits to be taken in.
std::string_view searchIndexScript();

}  // namespace ravant
