#include "desktop/text/html_entities.hpp"

#include <algorithm>
#include <array>
#include <charconv>
#include <utility>

#include "platform/text/utf8.hpp"

namespace ravant::desktop {
namespace {

/// Those that are met in prose; U+00A0 and what is like it keep their own width.
constexpr std::array<std::pair<std::string_view, std::string_view>, 58> kNamed{{
    {"AElig", "Æ"},  {"Auml", "Ä"},   {"Omega", "Ω"},     {"Ouml", "Ö"},      {"Uuml", "Ü"},  {"alpha", "α"},
    {"amp", "&"},    {"apos", "'"},   {"auml", "ä"},      {"beta", "β"},      {"bull", "•"},  {"cent", "¢"},
    {"check", "✓"},  {"copy", "©"},   {"darr", "↓"},      {"deg", "°"},       {"delta", "δ"}, {"divide", "÷"},
    {"eacute", "é"}, {"egrave", "è"}, {"emsp", "\u2003"}, {"ensp", "\u2002"}, {"euro", "€"},  {"frac12", "½"},
    {"ge", "≥"},     {"gt", ">"},     {"harr", "↔"},      {"hellip", "…"},    {"infin", "∞"}, {"lambda", "λ"},
    {"laquo", "«"},  {"larr", "←"},   {"ldquo", "“"},     {"le", "≤"},        {"lsquo", "‘"}, {"lt", "<"},
    {"mdash", "—"},  {"micro", "µ"},  {"middot", "·"},    {"minus", "−"},     {"mu", "μ"},    {"nbsp", "\u00A0"},
    {"ndash", "–"},  {"ne", "≠"},     {"ouml", "ö"},      {"para", "¶"},      {"pi", "π"},    {"plusmn", "±"},
    {"quot", "\""},  {"raquo", "»"},  {"rarr", "→"},      {"rdquo", "”"},     {"reg", "®"},   {"rsquo", "’"},
    {"sect", "§"},   {"times", "×"},  {"trade", "™"},     {"uarr", "↑"},
}};
static_assert(std::ranges::is_sorted(kNamed, {}, &std::pair<std::string_view, std::string_view>::first));

std::string numbered(std::string_view digits, int base) {
  unsigned code = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), code, base);
  const bool isCharacter = error == std::errc() && end == digits.data() + digits.size() && code != 0 &&
                           code <= 0x10FFFF && (code < 0xD800 || code > 0xDFFF);
  std::string character;
  appendUtf8(character, isCharacter ? code : U'\uFFFD');
  return character;
}

}  // namespace

std::string characterOfEntity(std::string_view entity) {
  if (entity.size() < 3 || !entity.starts_with('&') || !entity.ends_with(';')) return std::string(entity);
  const std::string_view name = entity.substr(1, entity.size() - 2);
  if (name.starts_with("#x") || name.starts_with("#X")) return numbered(name.substr(2), 16);
  if (name.starts_with('#')) return numbered(name.substr(1), 10);
  const auto* const named =
      std::ranges::lower_bound(kNamed, name, {}, &std::pair<std::string_view, std::string_view>::first);
  return std::string(named != kNamed.end() && named->first == name ? named->second : entity);
}

}  // namespace ravant::desktop
