#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "desktop/text/highlighter.hpp"
#include "desktop/text/languages/language.hpp"

namespace ravant::desktop {

/// A language's table, made ready for scanning.
class CodeRules {
 public:
  /// What a character can begin.
  enum class Start : std::uint8_t { nothing, word, digit, mark };

  explicit CodeRules(const Language& language);

  const Language& language() const { return *language_; }
  bool has(Trait trait) const { return desktop::has(language_->traits, trait); }

  Start startOf(char16_t character) const { return character < kAscii ? starts_[character] : Start::word; }
  bool isInWord(char16_t character) const { return character >= kAscii || isInWord_[character]; }

  /// Of a whole word; plain where it is in no list.
  CodeToken tokenOf(std::u16string_view word) const;

 private:
  static constexpr std::size_t kAscii = 128;

  struct Word {
    std::string_view text;
    CodeToken token = CodeToken::plain;
  };

  void add(std::string_view words, CodeToken token);
  void addWords(const Language& language);
  std::uint32_t fold(char16_t character) const;
  /// Where the word is in the table, or the empty place where it would be.
  template <typename Characters>
  std::size_t placeOf(Characters word) const;

  const Language* language_;
  std::array<Start, kAscii> starts_{};
  std::array<bool, kAscii> isInWord_{};
  std::vector<Word> words_;
};

}  // namespace ravant::desktop
