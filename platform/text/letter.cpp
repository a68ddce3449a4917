#include "platform/text/letter.hpp"

#include <utf8proc.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <string_view>

#include "platform/text/case_folding.hpp"

namespace ravant {
namespace {

constexpr char32_t kZeroWidthSpace = 0x200B;
constexpr char32_t kAtHand = 0x530;  // up to here Latin, Greek and Cyrillic letters

/// Strokes are no accents to Unicode. What has one is written without it as accents are left out.
constexpr std::u32string_view kStroked = U"đħłøŧ";
constexpr std::u32string_view kUnstroked = U"dhlot";

struct Run {
  char32_t first;
  char32_t last;
};
/// Thai and Lao, Burmese, the parts of Hangul, and Khmer: those of the scripts without blanks that are not wide.
constexpr std::array kNarrowIdeographs = {Run{0x0E00, 0x0EFF}, Run{0x1000, 0x109F}, Run{0x1100, 0x11FF},
                                          Run{0x1780, 0x17FF}};

utf8proc_int32_t codePoint(char32_t character) { return static_cast<utf8proc_int32_t>(character); }

const utf8proc_property_t& propertyOf(char32_t character) { return *utf8proc_get_property(codePoint(character)); }

bool isIdeograph(char32_t character, const utf8proc_property_t& property) {
  constexpr unsigned kWide = 2;
  return property.charwidth == kWide || std::ranges::any_of(kNarrowIdeographs, [=](const Run& run) {
           return run.first <= character && character <= run.last;
         });
}

/// Over, through or under a letter. Other marks are vowels, or make another letter.
bool isAccent(const utf8proc_property_t& property) {
  constexpr utf8proc_propval_t kOverlay = 1;
  constexpr utf8proc_propval_t kFirstByPlace = 200;
  return property.combining_class == kOverlay || property.combining_class >= kFirstByPlace;
}

LetterKind kindOf(char32_t character, const utf8proc_property_t& property) {
  using enum LetterKind;
  if (character == kZeroWidthSpace) return blank;
  if (property.ignorable) return mark;
  switch (static_cast<utf8proc_category_t>(property.category)) {
    case UTF8PROC_CATEGORY_LU:
    case UTF8PROC_CATEGORY_LT:
      return upper;
    case UTF8PROC_CATEGORY_LL:
    case UTF8PROC_CATEGORY_LM:
    case UTF8PROC_CATEGORY_LO:
    case UTF8PROC_CATEGORY_ND:
    case UTF8PROC_CATEGORY_NL:
      return isIdeograph(character, property) ? ideograph : letter;
    case UTF8PROC_CATEGORY_MN:
    case UTF8PROC_CATEGORY_MC:
      return isIdeograph(character, property) ? ideograph : isAccent(property) ? mark : letter;
    case UTF8PROC_CATEGORY_ME:
    case UTF8PROC_CATEGORY_CF:
      return mark;
    case UTF8PROC_CATEGORY_ZS:
    case UTF8PROC_CATEGORY_ZL:
    case UTF8PROC_CATEGORY_ZP:
    case UTF8PROC_CATEGORY_CC:
      return blank;
    case UTF8PROC_CATEGORY_NO:
    case UTF8PROC_CATEGORY_PC:
    case UTF8PROC_CATEGORY_PD:
    case UTF8PROC_CATEGORY_PS:
    case UTF8PROC_CATEGORY_PE:
    case UTF8PROC_CATEGORY_PI:
    case UTF8PROC_CATEGORY_PF:
    case UTF8PROC_CATEGORY_PO:
    case UTF8PROC_CATEGORY_SM:
    case UTF8PROC_CATEGORY_SC:
    case UTF8PROC_CATEGORY_SK:
    case UTF8PROC_CATEGORY_SO:
    case UTF8PROC_CATEGORY_CN:
    case UTF8PROC_CATEGORY_CS:
    case UTF8PROC_CATEGORY_CO:
      return symbol;
  }
  __builtin_unreachable();
}

/// The letter that it is with accents or in another width; itself where it is none.
char32_t unaccented(char32_t character, const utf8proc_property_t& property) {
  constexpr auto kNone = static_cast<utf8proc_uint16_t>(-1);
  if (property.decomp_seqindex == kNone) return character;
  const bool isOfOtherWidth =
      property.decomp_type == UTF8PROC_DECOMP_TYPE_WIDE || property.decomp_type == UTF8PROC_DECOMP_TYPE_NARROW;
  std::array<utf8proc_int32_t, 8> parts{};
  const auto options =
      static_cast<utf8proc_option_t>(isOfOtherWidth ? UTF8PROC_DECOMPOSE | UTF8PROC_COMPAT : UTF8PROC_DECOMPOSE);
  const auto size = utf8proc_decompose_char(codePoint(character), parts.data(), std::ssize(parts), options, nullptr);
  if (size < 1 || size > std::ssize(parts)) return character;
  const bool isAccented = std::all_of(parts.begin() + 1, parts.begin() + size, [](utf8proc_int32_t part) {
    return isAccent(propertyOf(static_cast<char32_t>(part)));
  });
  return isAccented ? static_cast<char32_t>(parts.front()) : character;
}

Letter lookedUp(char32_t character) {
  const utf8proc_property_t& property = propertyOf(character);
  LetterKind kind = kindOf(character, property);
  if (kind == LetterKind::blank) return {' ', kind};
  if (kind == LetterKind::symbol || kind == LetterKind::mark) return {character, kind};
  const char32_t base = unaccented(character, property);
  if (base != character) kind = kindOf(base, propertyOf(base));
  const char32_t folded = foldCase(base);
  const std::size_t stroked = kStroked.find(folded);
  return {stroked == std::u32string_view::npos ? folded : kUnstroked[stroked], kind};
}

}  // namespace

Letter letterOf(char32_t character) {
  static const auto kKnown = [] {
    std::array<Letter, kAtHand> all{};
    for (char32_t one = 0; one < kAtHand; ++one) all.at(one) = lookedUp(one);
    return all;
  }();
  return character < kAtHand ? kKnown[character] : lookedUp(character);
}

}  // namespace ravant
