#pragma once

#include <optional>
#include <string_view>

namespace ravant {

/// An element, such as `<file name="a">…</file>`, that a program put before what a user typed.
struct ElementBefore {
  std::string_view attributes;  ///< with the blank before the first
  std::string_view rest;        ///< of the text, without the line breaks behind the element
};

/// Nothing where the text does not begin with a whole element of that name. Contents on lines of their own reach to the
/// end on a line of its own, whatever they quote.
std::optional<ElementBefore> elementBefore(std::string_view text, std::string_view name);

}  // namespace ravant
