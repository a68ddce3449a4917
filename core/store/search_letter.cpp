#include "core/store/search_letter.hpp"

#include <algorithm>
#include <array>
#include <iterator>
#include <utility>

#include "platform/text/case_folding.hpp"

namespace ravant {
namespace {

// The letters without their accents from U+00C0 and from U+0100; a dot stands for those that have none.
constexpr std::string_view kLatin1 = "AAAAAA.CEEEEIIII.NOOOOO.OUUUUY..aaaaaa.ceeeeiiii.nooooo.ouuuuy.y";
constexpr std::string_view kLatinExtended =
    "AaAaAaCcCcCcCcDdDdEeEeEeEeEeGgGgGgGgHhHhIiIiIiIiIi..JjKk.LlLlLlLlLlNnNnNnn..OoOoOo.."
    "RrRrRrSsSsSsSsTtTtTtUuUuUuUuUuU"
    "uWwYyYZzZzZzs";
static_assert(kLatin1.size() == 0x40 && kLatinExtended.size() == 0x80);

struct Run {
  char32_t first;
  char32_t last;
};

/// From U+1E00: a letter, and the last character that is built on it.
constexpr std::array<std::pair<char, char32_t>, 36> kLatinAdditional = {
    {{'a', 0x1E01}, {'b', 0x1E07}, {'c', 0x1E09}, {'d', 0x1E13}, {'e', 0x1E1D}, {'f', 0x1E1F},
     {'g', 0x1E21}, {'h', 0x1E2B}, {'i', 0x1E2F}, {'k', 0x1E35}, {'l', 0x1E3D}, {'m', 0x1E43},
     {'n', 0x1E4B}, {'o', 0x1E53}, {'p', 0x1E57}, {'r', 0x1E5F}, {'s', 0x1E69}, {'t', 0x1E71},
     {'u', 0x1E7B}, {'v', 0x1E7F}, {'w', 0x1E89}, {'x', 0x1E8D}, {'y', 0x1E8F}, {'z', 0x1E95},
     {'h', 0x1E96}, {'t', 0x1E97}, {'w', 0x1E98}, {'y', 0x1E99}, {'a', 0x1E9A}, {'s', 0x1E9F},
     {'a', 0x1EB7}, {'e', 0x1EC7}, {'i', 0x1ECB}, {'o', 0x1EE3}, {'u', 0x1EF1}, {'y', 0x1EFF}}};

/// Small letters from U+0180 on, and what they are without their accents.
constexpr std::u32string_view kAccented = U"ơưǎǐǒǔǖǘǚǜǟǡǧǩǫǭǰǵǹǻȁȃȅȇȉȋȍȏȑȓȕȗșțȟȧȩȫȭȯȱȳ";
constexpr std::string_view kAccentedBases = "ouaiouuuuuaagkoojgnaaaeeiioorruusthaeooooy";
static_assert(kAccented.size() == kAccentedBases.size());

/// From U+1F00: a small Greek letter, and the last small one that is built on it without another between them.
constexpr std::array<std::pair<char32_t, char32_t>, 25> kGreekExtended = {
    {{U'α', 0x1F07}, {U'ε', 0x1F15}, {U'η', 0x1F27}, {U'ι', 0x1F37}, {U'ο', 0x1F45}, {U'υ', 0x1F57}, {U'ω', 0x1F67},
     {U'α', 0x1F71}, {U'ε', 0x1F73}, {U'η', 0x1F75}, {U'ι', 0x1F77}, {U'ο', 0x1F79}, {U'υ', 0x1F7B}, {U'ω', 0x1F7D},
     {U'α', 0x1F87}, {U'η', 0x1F97}, {U'ω', 0x1FA7}, {U'α', 0x1FB7}, {U'ι', 0x1FBE}, {U'η', 0x1FC7}, {U'ι', 0x1FD7},
     {U'υ', 0x1FE3}, {U'ρ', 0x1FE5}, {U'υ', 0x1FE7}, {U'ω', 0x1FF7}}};

constexpr std::array kBlanks = {Run{0x80, 0xA0},     Run{0x1680, 0x1680}, Run{0x2000, 0x200B}, Run{0x2028, 0x2029},
                                Run{0x202F, 0x202F}, Run{0x205F, 0x205F}, Run{0x3000, 0x3000}};
constexpr std::array kMarks = {Run{0xAD, 0xAD},     Run{0x300, 0x36F},   Run{0x200C, 0x200F}, Run{0x202A, 0x202E},
                               Run{0x2060, 0x2069}, Run{0x20D0, 0x20FF}, Run{0xFE00, 0xFE0F}, Run{0xFEFF, 0xFEFF}};
constexpr std::array kSymbols = {Run{0xA1, 0xA9},     Run{0xAB, 0xB4},     Run{0xB6, 0xB9},      Run{0xBB, 0xBF},
                                 Run{0xD7, 0xD7},     Run{0xF7, 0xF7},     Run{0x2010, 0x2070},  Run{0x2074, 0x207E},
                                 Run{0x2080, 0x208E}, Run{0x20A0, 0x20CF}, Run{0x2100, 0x2BFF},  Run{0x2E00, 0x2E7F},
                                 Run{0x3001, 0x3004}, Run{0x3008, 0x3020}, Run{0x3030, 0x3030},  Run{0x30FB, 0x30FB},
                                 Run{0xFE10, 0xFE6F}, Run{0xFF01, 0xFF0F}, Run{0xFF1A, 0xFF20},  Run{0xFF3B, 0xFF40},
                                 Run{0xFF5B, 0xFF65}, Run{0xFFFD, 0xFFFD}, Run{0x1F000, 0x1FAFF}};
constexpr std::array kIdeographs = {Run{0x0E00, 0x0EFF},  Run{0x1000, 0x109F}, Run{0x1100, 0x11FF}, Run{0x1780, 0x17FF},
                                    Run{0x2E80, 0x2FDF},  Run{0x3005, 0x3007}, Run{0x3021, 0x318F}, Run{0x31A0, 0x4DBF},
                                    Run{0x4E00, 0xA4CF},  Run{0xAC00, 0xD7FF}, Run{0xF900, 0xFAFF}, Run{0xFF66, 0xFFDC},
                                    Run{0x20000, 0x3FFFF}};

template <std::size_t size>
bool isIn(const std::array<Run, size>& runs, char32_t code) {
  return std::ranges::any_of(runs, [=](const Run& run) { return run.first <= code && code <= run.last; });
}

struct Folded {
  char32_t code;
  bool isUpper;
};

Folded ofAscii(char base) {
  const bool isUpper = base >= 'A' && base <= 'Z';
  return {.code = static_cast<unsigned char>(base) + (isUpper ? 0x20u : 0u), .isUpper = isUpper};
}

Folded foldedLatin(char32_t code) {
  const char base = code < 0x100 ? kLatin1[code - 0xC0] : kLatinExtended[code - 0x100];
  if (base != '.') return ofAscii(base);
  if (code == 0xC6 || code == 0xD0 || code == 0xDE) return {code + 0x20, true};
  if (code == 0x132 || code == 0x14A || code == 0x152) return {code + 1, true};
  return {code, false};
}

Folded foldedGreek(char32_t code) {
  constexpr std::array<std::pair<char32_t, char32_t>, 21> kKnown = {
      {{0x390, 0x3B9}, {0x3AA, 0x3B9}, {0x3AB, 0x3C5}, {0x3B0, 0x3C5}, {0x386, 0x3B1}, {0x388, 0x3B5}, {0x389, 0x3B7},
       {0x38A, 0x3B9}, {0x38C, 0x3BF}, {0x38E, 0x3C5}, {0x38F, 0x3C9}, {0x3AC, 0x3B1}, {0x3AD, 0x3B5}, {0x3AE, 0x3B7},
       {0x3AF, 0x3B9}, {0x3CA, 0x3B9}, {0x3CB, 0x3C5}, {0x3CC, 0x3BF}, {0x3CD, 0x3C5}, {0x3CE, 0x3C9}, {0x3C2, 0x3C3}}};
  const auto* const known = std::ranges::find(kKnown, code, &std::pair<char32_t, char32_t>::first);
  if (known != kKnown.end()) return {known->second, code < 0x3AC && code != 0x390};
  return code >= 0x391 && code <= 0x3A9 ? Folded{code + 0x20, true} : Folded{code, false};
}

Folded foldedCyrillic(char32_t code) {
  if (code == 0x401 || code == 0x451) return {0x435, code == 0x401};  // ё is written as е as often
  if (code < 0x410) return {code + 0x50, true};
  if (code < 0x430) return {code + 0x20, true};
  const bool isPaired = (code >= 0x460 && code <= 0x481) || (code >= 0x48A && code <= 0x4BF) || code >= 0x4D0;
  return isPaired && code % 2 == 0 ? Folded{code + 1, true} : Folded{code, false};
}

/// Of scripts that need no speed: by what the system knows of letters.
Folded foldedOther(char32_t code) {
  const char32_t small = foldCase(code);
  const bool isUpper = small != code;
  if (small < 0x80) return {small, isUpper};
  if (const std::size_t known = kAccented.find(small); known != std::u32string_view::npos) {
    return {static_cast<unsigned char>(kAccentedBases[known]), isUpper};
  }
  if (small >= 0x1F00 && small <= kGreekExtended.back().second) {
    return {std::ranges::lower_bound(kGreekExtended, small, {}, &std::pair<char32_t, char32_t>::second)->first,
            isUpper};
  }
  return {small, isUpper};
}

Folded folded(char32_t code) {
  if (code >= 0xC0 && code < 0x180) return foldedLatin(code);
  if (code >= 0x386 && code < 0x3CF) return foldedGreek(code);
  if (code >= 0x400 && code < 0x530) return foldedCyrillic(code);
  if (code >= 0x531 && code <= 0x556) return {code + 0x30, true};
  if (code >= 0x1E00 && code <= 0x1EFF) {
    const auto* const known = std::ranges::lower_bound(kLatinAdditional, code, {}, &std::pair<char, char32_t>::second);
    const bool isUpper = code % 2 == 0 && (code < 0x1E96 || code >= 0x1EA0);
    return {static_cast<unsigned char>(known->first), isUpper};
  }
  if (code >= 0xFF10 && code <= 0xFF5A) return ofAscii(static_cast<char>(code - 0xFEE0));
  return foldedOther(code);
}

SearchLetter ofOther(char32_t code, std::size_t size) {
  using enum LetterKind;
  if (isIn(kBlanks, code)) return {' ', size, blank};
  if (isIn(kMarks, code)) return {code, size, mark};
  if (isIn(kSymbols, code)) return {code, size, symbol};
  if (isIn(kIdeographs, code)) return {code, size, ideograph};
  const Folded letter_ = folded(code);
  return {letter_.code, size, letter_.isUpper ? upper : letter};
}

/// Of one that sets a colour or the like; 0 where there is none.
std::size_t escapeSequenceSize(std::string_view text) {
  if (!text.starts_with("\x1b[")) return 0;
  std::size_t end = 2;
  while (end < text.size() && text[end] >= ' ' && text[end] <= '?') ++end;
  return end < text.size() && text[end] >= '@' && text[end] <= '~' ? end + 1 : 0;
}

constexpr unsigned char kEscape = 0x1B;
constexpr std::array<SearchLetter, 0x80> kAscii = [] {
  std::array<SearchLetter, 0x80> all{};
  for (char32_t code = 0; code < 0x80; ++code) {
    SearchLetter& one = all.at(code);
    one = {.folded = code, .size = 1, .kind = LetterKind::symbol};
    if (code <= 0x20 || code == 0x7F) one = {.folded = ' ', .size = 1, .kind = LetterKind::blank};
    if ((code >= 'a' && code <= 'z') || (code >= '0' && code <= '9')) one.kind = LetterKind::letter;
    if (code >= 'A' && code <= 'Z') one = {.folded = code + 0x20, .size = 1, .kind = LetterKind::upper};
  }
  return all;
}();

}  // namespace

SearchLetter searchLetterAt(std::string_view text, std::size_t at) {
  const auto lead = static_cast<unsigned char>(text[at]);
  if (lead == kEscape) {
    if (const std::size_t size = escapeSequenceSize(text.substr(at))) return {lead, size, LetterKind::mark};
  }
  if (lead < 0x80) return kAscii[lead];
  const std::size_t size = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
  constexpr SearchLetter kStray{.folded = 0xFFFD, .size = 1, .kind = LetterKind::symbol};
  if (lead < 0xC0 || at + size > text.size()) return kStray;
  char32_t code = lead & (0xFFu >> (size + 1));
  for (std::size_t i = 1; i < size; ++i) {
    const auto byte = static_cast<unsigned char>(text[at + i]);
    if ((byte & 0xC0) != 0x80) return kStray;
    code = code << 6 | (byte & 0x3F);
  }
  return ofOther(code, size);
}

void appendUtf8(std::string& text, char32_t character) {
  if (character < 0x80) {
    text += static_cast<char>(character);
    return;
  }
  const int more = character < 0x800 ? 1 : character < 0x10000 ? 2 : 3;
  text += static_cast<char>((0xFF00u >> (more + 1) & 0xFF) | character >> 6 * more);
  for (int i = more - 1; i >= 0; --i) text += static_cast<char>(0x80 | (character >> 6 * i & 0x3F));
}

std::string foldedForSearch(std::string_view text) {
  std::string all;
  all.reserve(text.size());
  for (std::size_t at = 0; at < text.size();) {
    const SearchLetter letter = searchLetterAt(text, at);
    at += letter.size;
    if (letter.kind != LetterKind::mark) appendUtf8(all, letter.folded);
  }
  return all;
}

std::optional<TextSpan> findFolded(std::string_view text, std::string_view folded) {
  const std::size_t found = foldedForSearch(text).find(folded);
  if (found == std::string::npos) return std::nullopt;
  TextSpan span{.begin = 0, .end = text.size()};
  std::string character;
  std::size_t position = 0;
  for (std::size_t at = 0; at < text.size();) {
    const SearchLetter letter = searchLetterAt(text, at);
    if (letter.kind != LetterKind::mark) {
      if (position == found) span.begin = at;
      if (position >= found + folded.size()) {
        span.end = at;
        break;
      }
      character.clear();
      appendUtf8(character, letter.folded);
      position += character.size();
    }
    at += letter.size;
  }
  return span;
}

}  // namespace ravant
