#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace ravant::desktop {

/// An address that stands in a text: bytes from `begin`. One of a scheme that is not opened has no `href`.
struct WebLink {
  std::size_t begin;
  std::size_t length;
  std::optional<std::string> href;

  bool operator==(const WebLink&) const = default;
};

/// Addresses with a scheme (`https://example.com/a`) and of mail (`ada@example.com`), in their order and apart. What
/// ends a sentence around an address is no part of it.
std::vector<WebLink> webLinks(std::string_view text);

/// The `https`, `http` or `mailto` address `target`, in ASCII without anything that could end an attribute or be shown
/// in another order; nothing for other schemes. Mail is addressed, never filled in: what follows a question mark is
/// left out, for it can name files to be attached.
std::optional<std::string> externalHref(std::string_view target);

/// `text` with each byte but ASCII letters, digits and those in `kept` as `%XX`.
std::string percentEncoded(std::string_view text, std::string_view kept);
/// The opposite; nothing where a `%` has not two hexadecimal digits behind it.
std::optional<std::string> percentDecoded(std::string_view text);

}  // namespace ravant::desktop
