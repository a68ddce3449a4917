#include "desktop/text/code_scanner.hpp"

#include <algorithm>

namespace ravant::desktop {
namespace {

using Within = Highlighter::State::Within;

bool isBlank(char16_t c) { return c == u' ' || c == u'\t'; }
bool isDigit(char16_t c) { return c >= u'0' && c <= u'9'; }
bool isUpper(char16_t c) { return c >= u'A' && c <= u'Z'; }
bool isLower(char16_t c) { return c >= u'a' && c <= u'z'; }
bool isAlphanumeric(char16_t c) { return isDigit(c) || isUpper(c) || isLower(c) || c == u'_' || c >= 128; }
bool isAnyOf(std::string_view ascii, char16_t c) {
  return c != u'\0' && c < 128 && ascii.contains(static_cast<char>(c));
}

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

bool CodeScanner::scanComment() {
  const auto comments = rules_.language().comments;
  for (std::size_t i = 0; i < comments.size(); ++i) {
    const CommentRule& rule = comments[i];
    if (peek() != static_cast<char16_t>(rule.open.front()) || !isNext(rule.open)) continue;
    if (rule.place == CommentPlace::behindBlank && at_ > 0 && !isBlank(text_[at_ - 1]) && text_[at_ - 1] != u';')
      continue;
    if (rule.place == CommentPlace::lineStart && at_ > 0) continue;
    const std::size_t begin = at_;
    if (rule.close.empty()) {
      at_ = text_.size();
      addSpan(begin, CodeToken::comment);
      return true;
    }
    at_ += rule.open.size();
    state_.within = Within::comment;
    state_.rule = static_cast<std::uint8_t>(i);
    state_.depth = 1;
    restOfComment(begin);
    return true;
  }
  return false;
}

void CodeScanner::restOfComment(std::size_t begin) {
  const CommentRule& rule = rules_.language().comments[state_.rule];
  while (!atEnd() && state_.depth > 0) {
    if (isNext(rule.close)) {
      at_ += rule.close.size();
      --state_.depth;
    } else if (rule.nesting == CommentNesting::nested && isNext(rule.open)) {
      at_ += rule.open.size();
      ++state_.depth;
    } else {
      ++at_;
    }
  }
  if (state_.depth == 0) state_.within = Within::code;
  addSpan(begin, CodeToken::comment);
}

bool CodeScanner::scanString(std::size_t begin) {
  const auto strings = rules_.language().strings;
  for (std::size_t i = 0; i < strings.size(); ++i) {
    if (peek() != static_cast<char16_t>(strings[i].open.front()) || !isNext(strings[i].open)) continue;
    at_ += strings[i].open.size();
    state_.within = Within::string;
    state_.rule = static_cast<std::uint8_t>(i);
    restOfString(begin);
    return true;
  }
  return false;
}

void CodeScanner::restOfString(std::size_t begin) {
  const StringRule& rule = rules_.language().strings[state_.rule];
  bool goesOn = rule.reach == Reach::lines;
  while (!atEnd()) {
    if (rule.escape != '\0' && peek() == static_cast<char16_t>(rule.escape)) {
      goesOn |= at_ + 1 == text_.size();
      at_ = std::min(at_ + 2, text_.size());
    } else if (isNext(rule.close)) {
      at_ += rule.close.size();
      state_.within = Within::code;
      return addSpan(begin, isKey(begin) ? CodeToken::type : CodeToken::string);
    } else if (!rule.code.empty() && isNext(rule.code) && state_.templates < state_.braces.size()) {
      at_ += rule.code.size();
      state_.braces[state_.templates++] = 0;
      state_.within = Within::code;
      return addSpan(begin, CodeToken::string);
    } else {
      ++at_;
    }
  }
  if (!goesOn) state_.within = Within::code;
  addSpan(begin, CodeToken::string);
}

/// Braces of the code within a template, and the one that ends it.
bool CodeScanner::scanBrace() {
  if (state_.templates == 0 || !isAnyOf("{}", peek())) return false;
  std::uint8_t& open = state_.braces[state_.templates - 1U];
  const std::size_t begin = at_++;
  if (text_[begin] == u'{' || open > 0) {
    constexpr std::uint8_t kMost = 255;
    open = static_cast<std::uint8_t>(text_[begin] == u'}' ? open - 1 : std::min<int>(open + 1, kMost));
    addSpan(begin, CodeToken::plain);
    return true;
  }
  const auto strings = rules_.language().strings;
  const auto rule = std::ranges::find_if(strings, [](const StringRule& any) { return !any.code.empty(); });
  --state_.templates;
  state_.within = Within::string;
  state_.rule = static_cast<std::uint8_t>(rule - strings.begin());
  restOfString(begin);
  return true;
}

/// Strings whose end the text itself names: `R"x(…)x"`, `r#"…"#`, `[==[…]==]`. The word before has been read, from
/// `begin` on.
bool CodeScanner::scanRaw(std::size_t begin) {
  constexpr std::size_t kLongestMark = 64;
  const char16_t before = at_ > begin ? text_[at_ - 1] : u'\0';
  std::size_t open = 0;
  std::u16string close;
  if (rules_.has(Trait::rawParentheses) && before == u'R' && peek() == u'"') {
    open = std::min(text_.substr(at_, kLongestMark).find(u'('), kLongestMark);
    if (open == kLongestMark) return false;
    close = u')' + std::u16string(text_.substr(at_ + 1, open - 1)) + u'"';
  } else if (rules_.has(Trait::rawHashes) && before == u'r') {
    while (peek(open) == u'#' && open < kLongestMark) ++open;
    if (peek(open) != u'"') return false;
    close = u'"' + std::u16string(open, u'#');
  } else if (rules_.has(Trait::rawBrackets) && before == u'\0' && peek() == u'[') {
    while (peek(open + 1) == u'=' && open < kLongestMark) ++open;
    if (peek(open + 1) != u'[') return false;
    close = u']' + std::u16string(open, u'=') + u']';
    ++open;
  } else {
    return false;
  }
  at_ += open + 1;
  state_.within = Within::raw;
  state_.close = std::move(close);
  restOfRaw(begin);
  return true;
}

void CodeScanner::restOfRaw(std::size_t begin) {
  const std::size_t end = text_.find(state_.close, at_);
  at_ = end == text_.npos ? text_.size() : end + state_.close.size();
  if (end != text_.npos) {
    state_.within = Within::code;
    state_.close.clear();
  }
  addSpan(begin, CodeToken::string);
}

/// `<<END`, `<<-'END'`, `<<~END` and `<<<END`: the lines behind this one are a string up to the one that is named.
bool CodeScanner::scanDocumentStart() {
  if (!rules_.has(Trait::documents) || !isNext("<<") || !document_.empty()) return false;
  if (at_ > 0 && (isAlphanumeric(text_[at_ - 1]) || text_[at_ - 1] == u'<')) return false;
  const bool isScript = rules_.has(Trait::calls);
  std::size_t ahead = 2;
  if (peek(ahead) == u'<') {
    ++ahead;
    if (!isScript || peek(ahead) == u'<') return false;
  }
  const bool isMarked = isAnyOf("-~", peek(ahead));
  if (isMarked) ++ahead;
  const bool isQuoted = isAnyOf("\"'", peek(ahead));
  if (isQuoted) ++ahead;
  std::size_t end = at_ + ahead;
  while (end < text_.size() && isAlphanumeric(text_[end])) ++end;
  const std::u16string_view name = text_.substr(at_ + ahead, end - at_ - ahead);
  if (name.empty() || isDigit(name.front()) || (isScript && !isMarked && !isQuoted && !isUpper(name.front())))
    return false;
  if (isQuoted && (end == text_.size() || text_[end] != text_[at_ + ahead - 1])) return false;
  document_ = name;
  const std::size_t begin = at_;
  at_ = end + (isQuoted ? 1 : 0);
  addSpan(begin, CodeToken::string);
  return true;
}

void CodeScanner::document() {
  const std::size_t indent = std::min(text_.find_first_not_of(u" \t"), text_.size());
  const std::size_t end = indent + state_.close.size();
  const bool mayFollow = end >= text_.size() || isAnyOf(";,)", text_[end]) ||
                         (rules_.has(Trait::attributes) && !isAlphanumeric(text_[end]));
  const bool isEnd = mayFollow && text_.substr(indent).starts_with(state_.close);
  at_ = isEnd ? end : text_.size();
  if (isEnd) {
    state_.within = Within::code;
    state_.close.clear();
  }
  addSpan(0, CodeToken::string);
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
