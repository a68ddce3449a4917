#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace ravant {

/// A member of an object, and the line, counted from 1, on which its name stands.
struct JsonMemberLine {
  std::string name;
  std::size_t line;

  bool operator==(const JsonMemberLine&) const = default;
};

/// The line on which the name of the object's last member `key` stands; nothing where it has none. `text` is one that
/// `parseJson` takes.
std::optional<std::size_t> memberLine(std::string_view text, std::string_view key);

/// The members of the object that is the member `key` of the object `text`, in their order. Of members with the same
/// name the last one counts, as `parseJson` has it. `text` is one that `parseJson` takes.
std::vector<JsonMemberLine> memberLines(std::string_view text, std::string_view key);

}  // namespace ravant
