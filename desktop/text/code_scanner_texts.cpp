// Comments, strings and documents: all that may go on in the next line.
#include <algorithm>

#include "desktop/text/code_characters.hpp"
#include "desktop/text/code_scanner.hpp"

namespace ravant::desktop {
namespace {

using Within = Highlighter::State::Within;

}  // namespace

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

}  // namespace ravant::desktop
