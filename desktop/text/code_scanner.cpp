#include "desktop/text/code_scanner.hpp"

#include <algorithm>

#include "desktop/text/code_characters.hpp"

namespace ravant::desktop {
namespace {

using Within = Highlighter::State::Within;

bool isCapitalized(std::u16string_view word) {
  return isUpper(word.front()) && (word.size() == 1 || std::ranges::any_of(word, isLower));
}

}  // namespace

std::vector<CodeSpan> CodeScanner::spans() {
  constexpr std::size_t kUsual = 16;
  spans_.reserve(kUsual);
  goOn();
  while (!atEnd()) scanCode();
  if (!document_.empty() && state_.within == Within::code) {
    state_.within = Within::document;
    state_.close = std::move(document_);
  }
  return std::move(spans_);
}

bool CodeScanner::isNext(std::string_view ascii, std::size_t ahead) const {
  if (at_ + ahead + ascii.size() > text_.size()) return false;
  for (std::size_t i = 0; i < ascii.size(); ++i) {
    if (text_[at_ + ahead + i] != static_cast<char16_t>(ascii[i])) return false;
  }
  return true;
}

void CodeScanner::addSpan(std::size_t begin, CodeToken token) {
  if (at_ > begin && token != CodeToken::plain) spans_.push_back({begin, at_ - begin, token});
  if (at_ > begin) last_ = text_[at_ - 1];
  lastWasKeyword_ = token == CodeToken::keyword;
}

void CodeScanner::goOn() {
  switch (state_.within) {
    case Within::string:
      return restOfString(0);
    case Within::comment:
      return restOfComment(0);
    case Within::raw:
      return restOfRaw(0);
    case Within::document:
      return document();
    case Within::code:
    case Within::tag:
      return;
  }
}

void CodeScanner::scanCode() {
  switch (rules_.startOf(peek())) {
    case CodeRules::Start::word:
      return isAlphanumeric(peek()) || !isDigit(peek(1)) ? scanWord() : scanMark();
    case CodeRules::Start::digit:
      return scanNumber();
    case CodeRules::Start::mark:
      return scanMark();
    case CodeRules::Start::nothing:
      ++at_;
  }
}

std::size_t CodeScanner::wordEnd(std::size_t at) const {
  while (at < text_.size() && rules_.isInWord(text_[at])) ++at;
  return at;
}

void CodeScanner::scanWord() {
  const std::size_t begin = at_;
  at_ = std::max(wordEnd(at_), begin + 1);
  const std::u16string_view word = text_.substr(begin, at_ - begin);
  constexpr std::size_t kLongestPrefix = 3;
  if (word.size() <= kLongestPrefix && rules_.has(Trait::stringPrefixes) && isAnyOf("\"'#", peek())) {
    if (scanRaw(begin) || (peek() != u'#' && scanString(begin))) return;
  }
  if (rules_.has(Trait::macros) && peek() == u'!' && isAnyOf("([{", peek(1))) {
    ++at_;
    return addSpan(begin, CodeToken::call);
  }
  addSpan(begin, tokenOfWord(word, begin));
}

CodeToken CodeScanner::tokenOfWord(std::u16string_view word, std::size_t begin) const {
  const bool isMember = begin > 0 && text_[begin - 1] == u'.' && !(begin > 1 && text_[begin - 2] == u'.');
  if (isKey(begin)) return CodeToken::type;
  if (!isMember || rules_.has(Trait::ignoresCase)) {
    const CodeToken token = rules_.tokenOf(word);
    if (token != CodeToken::plain) return token;
  }
  if (rules_.has(Trait::calls) && peek() == u'(') return CodeToken::call;
  return rules_.has(Trait::capitalTypes) && isCapitalized(word) ? CodeToken::type : CodeToken::plain;
}

/// Of what began at `begin` and ends here: whether it names what follows.
bool CodeScanner::isKey(std::size_t begin) const {
  const bool isColon = rules_.has(Trait::colonKeys);
  if (!isColon && !rules_.has(Trait::equalsKeys)) return false;
  if (!isAtLineStart() && !isAnyOf("{;,-[(", last_)) return false;
  if (last_ == u'-' && begin > 0 && text_[begin - 1] == u'-') return false;
  std::size_t ahead = 0;
  while (isBlank(peek(ahead))) ++ahead;
  if (!isColon) return peek(ahead) == u'=' && peek(ahead + 1) != u'=';
  const bool isQuoted = isAnyOf("\"'", text_[begin]);
  return peek(ahead) == u':' && (isQuoted || isBlank(peek(ahead + 1)) || at_ + ahead + 1 == text_.size());
}

void CodeScanner::scanNumber() {
  const std::size_t begin = at_;
  const bool isHexadecimal = peek() == u'0' && isAnyOf("xX", peek(1));
  while (!atEnd()) {
    const bool isSign = isAnyOf("+-", peek()) && !isHexadecimal && isAnyOf("eE", text_[at_ - 1]) && isDigit(peek(1));
    const bool isPoint = peek() == u'.' && isAlphanumeric(peek(1)) && !isUpper(peek(1));
    const bool isGroup = peek() == u'\'' && isAlphanumeric(peek(1)) && isAlphanumeric(text_[at_ - 1]) &&
                         rules_.has(Trait::rawParentheses);
    if (!isAlphanumeric(peek()) && !isPoint && !(isSign && at_ > begin) && !isGroup && peek() != u'%') break;
    ++at_;
  }
  addSpan(begin, isKey(begin) ? CodeToken::type : CodeToken::number);
}

void CodeScanner::scanMark() {
  if (rules_.has(Trait::attributes) && (isNext("#[") || isNext("#!["))) {
    const std::size_t begin = at_;
    at_ = std::min(text_.find(u']', at_), text_.size() - 1) + 1;
    return addSpan(begin, CodeToken::keyword);
  }
  if (scanMarkedWord() || scanVariable() || scanRaw(at_) || scanComment() || scanDocumentStart() ||
      scanQuotedCharacter() || scanString(at_) || scanRegex() || scanBrace()) {
    return;
  }
  const std::size_t begin = at_;
  if (peek() == u'.' && isDigit(peek(1)) && !isAlphanumeric(last_) && last_ != u'.') {
    ++at_;
    scanNumber();
    --spans_.back().begin;
    ++spans_.back().length;
    return;
  }
  if (rules_.has(Trait::sections) && isAtLineStart() && peek() == u'[') {
    at_ = std::min(text_.find_last_of(u']'), text_.size() - 1) + 1;
    return addSpan(begin, CodeToken::type);
  }
  ++at_;
  const CodeToken single =
      peek() == u'\0' || isBlank(peek()) ? rules_.tokenOf(text_.substr(begin, 1)) : CodeToken::plain;
  addSpan(begin, single);
}

bool CodeScanner::scanVariable() {
  const std::size_t begin = at_;
  if (peek() == u'@' && rules_.has(Trait::atVariables)) {
    while (peek() == u'@') ++at_;
    at_ = wordEnd(at_);
    addSpan(begin, CodeToken::type);
    return true;
  }
  if (peek() != u'$' || !rules_.has(Trait::dollarVariables)) return false;
  ++at_;
  const bool isCommand = peek() == u'(' && rules_.has(Trait::documents);
  if (peek() == u'{' || (peek() == u'(' && !isCommand)) {
    at_ = std::min(text_.find(peek() == u'{' ? u'}' : u')', at_), text_.size() - 1) + 1;
  } else if (isAnyOf("@?#!*<^", peek()) || isDigit(peek())) {
    ++at_;
  } else {
    while (!atEnd() && isAlphanumeric(peek())) ++at_;
  }
  addSpan(begin, at_ > begin + 1 ? CodeToken::type : CodeToken::plain);
  return true;
}

/// Words that a mark makes something else: `@Override`, `#include <x>`, `#0b6a68`.
bool CodeScanner::scanMarkedWord() {
  const std::size_t begin = at_;
  if (peek() == u'@' && rules_.has(Trait::decorators) && isAlphanumeric(peek(1))) {
    at_ = wordEnd(at_ + 1);
    addSpan(begin, CodeToken::keyword);
    return true;
  }
  if (peek() != u'#') return false;
  if (rules_.has(Trait::directives) && isAtLineStart()) {
    const std::size_t word = std::min(text_.find_first_not_of(u" \t", at_ + 1), text_.size());
    at_ = wordEnd(word);
    const std::u16string_view name = text_.substr(word, at_ - word);
    addSpan(begin, CodeToken::keyword);
    const std::size_t file = std::min(text_.find_first_not_of(u" \t", at_), text_.size());
    if ((name != u"include" && name != u"import") || file == text_.size() || text_[file] != u'<') return true;
    at_ = std::min(text_.find(u'>', file), text_.size() - 1) + 1;
    addSpan(file, CodeToken::string);
    return true;
  }
  if (!rules_.has(Trait::hashColors) || isAtLineStart()) return false;
  constexpr std::u16string_view kDigits = u"0123456789abcdefABCDEF";
  const std::size_t end = std::min(text_.find_first_not_of(kDigits, at_ + 1), text_.size());
  constexpr std::size_t kShortest = 3;
  constexpr std::size_t kLongest = 8;
  if (end - begin - 1 < kShortest || end - begin - 1 > kLongest || (end < text_.size() && isAlphanumeric(text_[end])))
    return false;
  at_ = end;
  addSpan(begin, CodeToken::number);
  return true;
}

bool CodeScanner::scanQuotedCharacter() {
  if (peek() != u'\'' || !rules_.has(Trait::lifetimes)) return false;
  constexpr std::size_t kLongestEscape = 12;
  const std::size_t begin = at_;
  const std::size_t earliest = peek(1) == u'\\' ? 3 : 2;
  const std::size_t latest = peek(1) == u'\\' ? kLongestEscape : 3;
  const std::size_t close = text_.substr(begin, latest + 1).find(u'\'', earliest);
  const bool isPair = peek(1) >= 0xD800 && peek(1) < 0xDC00;
  if (close != text_.npos && (close == 2 || earliest == 3 || isPair)) {
    at_ = begin + close + 1;
    addSpan(begin, CodeToken::string);
  } else {
    at_ = std::max(wordEnd(at_ + 1), at_ + 1);
    addSpan(begin, at_ > begin + 1 ? CodeToken::type : CodeToken::plain);
  }
  return true;
}

bool CodeScanner::scanRegex() {
  if (peek() != u'/' || !rules_.has(Trait::regexes) || isAnyOf("=", peek(1))) return false;
  if (!isAtLineStart() && !lastWasKeyword_ && !isAnyOf("(,=:[!&|?{};+-*%~^<>", last_)) return false;
  constexpr std::size_t kLongest = 500;
  bool isInClass = false;
  for (std::size_t ahead = 1; ahead < kLongest && at_ + ahead < text_.size(); ++ahead) {
    const char16_t c = peek(ahead);
    if (c == u'\\') {
      ++ahead;
    } else if (c == u'[' || c == u']') {
      isInClass = c == u'[';
    } else if (c == u'/' && !isInClass) {
      const std::size_t begin = at_;
      at_ = wordEnd(at_ + ahead + 1);
      addSpan(begin, CodeToken::string);
      return true;
    }
  }
  return false;
}

}  // namespace ravant::desktop
