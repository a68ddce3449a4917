#pragma once

#include <cstdint>
#include <span>
#include <string_view>

namespace ravant::desktop {

/// How far something reaches that is not closed.
enum class Reach : std::uint8_t { line, lines };

struct StringRule {
  std::string_view open;
  std::string_view close;
  /// `\0` where there is none. One at the end of a line takes the string to the next.
  char escape = '\\';
  Reach reach = Reach::line;
  /// What begins code within the string, which a closing brace ends.
  std::string_view code = {};
};

enum class CommentPlace : std::uint8_t { anywhere, behindBlank, lineStart };
enum class CommentNesting : std::uint8_t { flat, nested };

struct CommentRule {
  std::string_view open;
  /// Empty where the end of the line closes it.
  std::string_view close = {};
  CommentPlace place = CommentPlace::anywhere;
  CommentNesting nesting = CommentNesting::flat;
};

enum class Grammar : std::uint8_t { code, markup, patch };

/// What a language has besides words, strings and comments.
enum class Trait : std::uint32_t {
  none = 0,
  calls = 1 << 0,            ///< a word before a parenthesis is called
  capitalTypes = 1 << 1,     ///< words in CamelCase are types
  ignoresCase = 1 << 2,      ///< of words
  directives = 1 << 3,       ///< `#word` begins a line
  decorators = 1 << 4,       ///< `@word`
  dollarVariables = 1 << 5,  ///< `$name`, `${name}`, `$(name)`
  atVariables = 1 << 6,      ///< `@name`
  colonKeys = 1 << 7,        ///< `key: `, at the beginning of what is said
  equalsKeys = 1 << 8,       ///< `key = `
  sections = 1 << 9,         ///< `[name]` as a line
  hashColors = 1 << 10,      ///< `#0b6a68`
  regexes = 1 << 11,         ///< `/a+/` where no value can be divided
  lifetimes = 1 << 12,       ///< `'a` is no string, `'a'` is one
  macros = 1 << 13,          ///< `name!(`
  stringPrefixes = 1 << 14,  ///< `u8"`, `rb"`
  rawParentheses = 1 << 15,  ///< `R"x(…)x"`
  rawHashes = 1 << 16,       ///< `r#"…"#`
  rawBrackets = 1 << 17,     ///< `[==[…]==]`
  documents = 1 << 18,       ///< `<<END`, `<<<END`
  attributes = 1 << 19,      ///< `#[…]`
};

constexpr Trait operator|(Trait a, Trait b) {
  return static_cast<Trait>(static_cast<std::uint32_t>(a) | static_cast<std::uint32_t>(b));
}
constexpr bool has(Trait traits, Trait trait) {
  return (static_cast<std::uint32_t>(traits) & static_cast<std::uint32_t>(trait)) != 0;
}

/// One language. To add one, add it to the table of the file that is nearest to it, or a new file to `allLanguages`.
/// Lists of words are parted by blanks.
struct Language {
  std::string_view name;
  /// Words behind a fence and extensions of files, the shortest word first.
  std::string_view aliases;
  std::string_view fileNames = {};
  std::string_view keywords = {};
  std::string_view types = {};
  std::string_view constants = {};
  /// Another one whose words count too.
  const Language* base = nullptr;
  std::span<const StringRule> strings = {};
  std::span<const CommentRule> comments = {};
  /// What besides letters, digits and `_` may stand within a word; the first of a word are `wordStarts`.
  std::string_view wordMarks = {};
  std::string_view wordStarts = {};
  Trait traits = Trait::none;
  Grammar grammar = Grammar::code;
};

/// The table of each file.
std::span<const Language> cFamily();
std::span<const Language> applicationLanguages();
std::span<const Language> scriptLanguages();
std::span<const Language> webLanguages();
std::span<const Language> dataLanguages();
std::span<const Language> buildLanguages();

/// The language that a word, a name or a path stands for, or null.
const Language* findLanguage(std::string_view infoStringOrFileName);
std::span<const std::span<const Language>> allLanguages();

}  // namespace ravant::desktop
