#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "desktop/text/code_rules.hpp"
#include "desktop/text/highlighter.hpp"

namespace ravant::desktop {

/// Scans one line by a language's rules, from left to right.
class CodeScanner {
 public:
  using State = Highlighter::State;

  CodeScanner(const CodeRules& rules, std::u16string_view text, State& state)
      : rules_(rules), text_(text), state_(state) {}

  std::vector<CodeSpan> spans();

 private:
  bool atEnd() const { return at_ >= text_.size(); }
  /// The character that is `ahead` of this one, `\0` outside of the line.
  char16_t peek(std::size_t ahead = 0) const { return at_ + ahead < text_.size() ? text_[at_ + ahead] : u'\0'; }
  bool isNext(std::string_view ascii, std::size_t ahead = 0) const;
  void addSpan(std::size_t begin, CodeToken token);

  void goOn();
  void scanCode();
  void scanWord();
  void scanNumber();
  void scanMark();
  /// One kind each: whether it was there and is scanned.
  bool scanComment();
  bool scanString(std::size_t begin);
  bool scanRaw(std::size_t begin);
  bool scanDocumentStart();
  bool scanVariable();
  bool scanMarkedWord();
  bool scanQuotedCharacter();
  bool scanRegex();
  bool scanBrace();

  /// Each goes on within what was begun, whose span begins at `begin`.
  void restOfString(std::size_t begin);
  void restOfComment(std::size_t begin);
  void restOfRaw(std::size_t begin);
  void document();

  CodeToken tokenOfWord(std::u16string_view word, std::size_t begin) const;
  bool isKey(std::size_t begin) const;
  bool isAtLineStart() const { return last_ == u'\0'; }
  std::size_t wordEnd(std::size_t at) const;

  const CodeRules& rules_;
  std::u16string_view text_;
  State& state_;
  std::vector<CodeSpan> spans_;
  std::size_t at_ = 0;
  /// Before `at_`, blanks left out; `\0` at the beginning of the line.
  char16_t last_ = u'\0';
  bool lastWasKeyword_ = false;
  /// What ends the document that begins behind this line.
  std::u16string document_;
};

}  // namespace ravant::desktop
