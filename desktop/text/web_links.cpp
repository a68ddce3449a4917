#include "desktop/text/web_links.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>

#include "platform/text/text.hpp"

namespace ravant::desktop {
namespace {

constexpr std::string_view kUrlMarks = "-._~:/?#[]@!$&'()*+,;=%";
constexpr std::string_view kMailMarks = "-._~@!$'*+=";
constexpr std::string_view kSchemeEnd = "://";

bool isLetter(char byte) { return (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z'); }
bool isDigit(char byte) { return byte >= '0' && byte <= '9'; }
bool isAlphanumeric(char byte) { return isLetter(byte) || isDigit(byte); }

bool endsAddress(char byte) {
  return static_cast<unsigned char>(byte) <= ' ' || byte == '<' || byte == '>' || byte == '"' || byte == '`';
}

/// Without the punctuation of the sentence that the address stands in, and brackets that were opened before it.
std::string_view withoutSentence(std::string_view address) {
  const auto surplus = [&](char open, char close) {
    return std::ranges::count(address, close) - std::ranges::count(address, open);
  };
  auto round = surplus('(', ')');
  auto square = surplus('[', ']');
  while (!address.empty()) {
    const char last = address.back();
    const bool isBracket = (last == ')' && round-- > 0) || (last == ']' && square-- > 0);
    if (!isBracket && !std::string_view(".,;:!?'*_~|").contains(last)) break;
    address.remove_suffix(1);
  }
  return address;
}

/// The address around the `://` at `at`, which begins at `from` or later.
std::optional<WebLink> schemeLink(std::string_view text, std::size_t from, std::size_t at) {
  std::size_t begin = at;
  while (begin > from && (isAlphanumeric(text[begin - 1]) || std::string_view("+-.").contains(text[begin - 1])))
    --begin;
  while (begin < at && !isLetter(text[begin])) ++begin;
  if (begin == at) return std::nullopt;
  const auto* end = std::ranges::find_if(text.substr(at), endsAddress);
  const std::string_view address = withoutSentence({text.data() + begin, end});
  if (address.size() <= at - begin + kSchemeEnd.size()) return std::nullopt;
  return WebLink{begin, address.size(), externalHref(address)};
}

bool isMailByte(char byte) { return isAlphanumeric(byte) || std::string_view("._+-").contains(byte); }
bool isHostByte(char byte) { return isAlphanumeric(byte) || byte == '.' || byte == '-'; }

/// The address of mail around the `@` at `at`, which begins at `from` or later.
std::optional<WebLink> mailLink(std::string_view text, std::size_t from, std::size_t at) {
  std::size_t begin = at;
  while (begin > from && isMailByte(text[begin - 1])) --begin;
  if (begin == at || !isAlphanumeric(text[begin]) || (begin > 0 && std::string_view("/@:").contains(text[begin - 1]))) {
    return std::nullopt;
  }
  std::size_t end = at + 1;
  while (end < text.size() && isHostByte(text[end])) ++end;
  const bool isGlued =
      end + 1 < text.size() && std::string_view(":/@").contains(text[end]) && !endsAddress(text[end + 1]);
  while (end > at + 1 && !isAlphanumeric(text[end - 1])) --end;
  const std::string_view host = text.substr(at + 1, end - at - 1);
  const std::size_t dot = host.rfind('.');
  if (isGlued || dot == std::string_view::npos || dot == 0 || host.size() - dot < 3) return std::nullopt;
  if (!std::ranges::all_of(host.substr(dot + 1), isLetter)) return std::nullopt;
  const std::string_view address = text.substr(begin, end - begin);
  return WebLink{begin, address.size(), externalHref("mailto:" + std::string(address))};
}

}  // namespace

std::vector<WebLink> webLinks(std::string_view text) {
  std::vector<WebLink> links;
  std::size_t from = 0;
  for (std::size_t at = text.find_first_of(":@"); at != std::string_view::npos; at = text.find_first_of(":@", at + 1)) {
    if (at < from) continue;
    std::optional<WebLink> link;
    if (text[at] == '@') {
      link = mailLink(text, from, at);
    } else if (text.substr(at).starts_with(kSchemeEnd)) {
      link = schemeLink(text, from, at);
    }
    from = at + 1;
    if (!link) continue;
    from = link->begin + link->length;
    links.push_back(*std::move(link));
  }
  return links;
}

std::optional<std::string> externalHref(std::string_view target) {
  const std::size_t colon = target.find(':');
  if (colon == std::string_view::npos || colon > std::string_view("mailto").size()) return std::nullopt;
  const std::string scheme = lowerCase(target.substr(0, colon));
  std::string_view rest = target.substr(colon + 1);
  if (scheme == "mailto") {
    rest = rest.substr(0, rest.find('?'));
    const std::string address = percentEncoded(rest, kMailMarks);
    return address.contains('@') && !address.contains('%') ? std::optional("mailto:" + address) : std::nullopt;
  }
  if ((scheme != "https" && scheme != "http") || !rest.starts_with("//")) return std::nullopt;
  rest.remove_prefix(2);
  if (rest.empty() || std::string_view("/?#").contains(rest.front())) return std::nullopt;
  return scheme + kSchemeEnd.data() + percentEncoded(rest, kUrlMarks);
}

std::string percentEncoded(std::string_view text, std::string_view kept) {
  std::string encoded;
  encoded.reserve(text.size());
  for (const char byte : text) {
    if (isAlphanumeric(byte) || kept.contains(byte)) {
      encoded += byte;
    } else {
      fmt::format_to(std::back_inserter(encoded), "%{:02X}", static_cast<unsigned char>(byte));
    }
  }
  return encoded;
}

std::optional<std::string> percentDecoded(std::string_view text) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  std::string decoded;
  decoded.reserve(text.size());
  for (std::size_t at = 0; at < text.size(); ++at) {
    if (text[at] != '%') {
      decoded += text[at];
      continue;
    }
    const std::string digits = lowerCase(text.substr(at + 1, 2));
    if (digits.size() < 2 || digits.find_first_not_of(kDigits) != std::string::npos) return std::nullopt;
    decoded += static_cast<char>(kDigits.find(digits[0]) << 4 | kDigits.find(digits[1]));
    at += 2;
  }
  return decoded;
}

}  // namespace ravant::desktop
