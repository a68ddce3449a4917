#include "desktop/text/code_rules.hpp"

#include <algorithm>
#include <bit>

namespace ravant::desktop {
namespace {

constexpr std::size_t kLongestWord = 32;

template <typename Action>
void forEachWord(std::string_view words, Action action) {
  while (!words.empty()) {
    const std::size_t end = std::min(words.find(' '), words.size());
    action(words.substr(0, end));
    words.remove_prefix(std::min(end + 1, words.size()));
  }
}

std::size_t countOf(const Language* language) {
  std::size_t count = 0;
  for (; language != nullptr; language = language->base) {
    for (const std::string_view list : {language->keywords, language->types, language->constants}) {
      forEachWord(list, [&](std::string_view) { ++count; });
    }
  }
  return count;
}

}  // namespace

CodeRules::CodeRules(const Language& language)
    : language_(&language), words_(std::bit_ceil(2 * countOf(&language) + 1)) {
  for (std::size_t c = 0; c < kAscii; ++c) {
    const char byte = static_cast<char>(c);
    const bool isDigit = byte >= '0' && byte <= '9';
    const bool isLetter = (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') || byte == '_';
    isInWord_[c] = isDigit || isLetter || language.wordMarks.contains(byte);
    const bool isStart = isLetter || language.wordStarts.contains(byte);
    starts_[c] = isDigit ? Start::digit : isStart ? Start::word : byte > ' ' ? Start::mark : Start::nothing;
  }
  for (const Language* any = &language; any != nullptr; any = any->base) addWords(*any);
}

CodeToken CodeRules::tokenOf(std::u16string_view word) const {
  return word.size() > kLongestWord ? CodeToken::plain : words_[placeOf(word)].token;
}

void CodeRules::addWords(const Language& language) {
  add(language.keywords, CodeToken::keyword);
  add(language.types, CodeToken::type);
  add(language.constants, CodeToken::number);
}

void CodeRules::add(std::string_view words, CodeToken token) {
  forEachWord(words, [&](std::string_view word) {
    Word& place = words_[placeOf(word)];
    if (place.text.empty()) place = {word, token};
  });
}

std::uint32_t CodeRules::fold(char16_t character) const {
  const bool isUpper = character >= u'A' && character <= u'Z';
  return isUpper && has(Trait::ignoresCase) ? character + 32U : character;
}

template <typename Characters>
std::size_t CodeRules::placeOf(Characters word) const {
  std::uint32_t hash = 0;
  for (const auto character : word) hash = hash * 31 + fold(static_cast<char16_t>(character));
  const std::size_t mask = words_.size() - 1;
  const auto isSame = [&](auto a, auto b) { return fold(static_cast<char16_t>(a)) == fold(static_cast<char16_t>(b)); };
  std::size_t place = (hash ^ hash >> 15) & mask;
  while (!words_[place].text.empty() && !std::ranges::equal(words_[place].text, word, isSame))
    place = (place + 1) & mask;
  return place;
}

}  // namespace ravant::desktop
