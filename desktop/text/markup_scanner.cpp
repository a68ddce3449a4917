#include "desktop/text/markup_scanner.hpp"

#include <algorithm>

namespace ravant::desktop {
namespace {

using Within = Highlighter::State::Within;

constexpr std::u16string_view kOpen = u"<!--";
constexpr std::u16string_view kClose = u"-->";

bool isInName(char16_t c) {
  return (c >= u'a' && c <= u'z') || (c >= u'A' && c <= u'Z') || (c >= u'0' && c <= u'9') || c >= 128 ||
         std::u16string_view(u"-_:.@#").contains(c);
}

std::u16string lowerCase(std::u16string_view word) {
  std::u16string lower(word);
  for (char16_t& c : lower) c = c >= u'A' && c <= u'Z' ? static_cast<char16_t>(c + 32) : c;
  return lower;
}

class MarkupScanner {
 public:
  MarkupScanner(std::u16string_view text, Highlighter::State& state) : text_(text), state_(state) {}

  std::vector<CodeSpan> spans() {
    while (at_ < text_.size()) {
      switch (state_.within) {
        case Within::comment:
          comment();
          break;
        case Within::tag:
          inTag();
          break;
        case Within::string:
          value(at_);
          break;
        case Within::raw:
          script();
          break;
        case Within::code:
        case Within::document:
          words();
          break;
      }
    }
    return std::move(spans_);
  }

 private:
  void add(std::size_t begin, std::size_t end, CodeToken token) {
    at_ = end;
    if (end > begin) spans_.push_back({begin, end - begin, token});
  }
  std::size_t nameEnd(std::size_t at) const {
    while (at < text_.size() && isInName(text_[at])) ++at;
    return at;
  }

  void words() {
    at_ = std::min(text_.find_first_of(u"<&", at_), text_.size());
    const std::u16string_view rest = text_.substr(at_);
    if (rest.starts_with(kOpen)) {
      state_.within = Within::comment;
      add(at_, at_ + kOpen.size(), CodeToken::comment);
    } else if (rest.starts_with(u'<')) {
      const std::size_t name = at_ + 1 + (rest.size() > 1 && std::u16string_view(u"/!?").contains(rest[1]) ? 1 : 0);
      tag(name, nameEnd(name));
    } else if (rest.starts_with(u'&')) {
      const std::size_t end = nameEnd(at_ + 1);
      const bool isEntity = end > at_ + 1 && end < text_.size() && text_[end] == u';';
      isEntity ? add(at_, end + 1, CodeToken::number) : void(++at_);
    }
  }

  void tag(std::size_t name, std::size_t end) {
    if (end == name) {
      at_ = name;
      return;
    }
    const std::u16string word = lowerCase(text_.substr(name, end - name));
    const bool isOpening = text_[name - 1] == u'<';
    state_.within = Within::tag;
    state_.close = isOpening && (word == u"script" || word == u"style") ? word : std::u16string();
    add(at_, end, CodeToken::keyword);
  }

  void inTag() {
    const char16_t c = text_[at_];
    if (c == u'>') {
      const bool isEmpty = at_ > 0 && text_[at_ - 1] == u'/';
      if (isEmpty) state_.close.clear();
      state_.within = state_.close.empty() ? Within::code : Within::raw;
      add(at_, at_ + 1, CodeToken::keyword);
    } else if (c == u'"' || c == u'\'') {
      state_.within = Within::string;
      state_.rule = c == u'"' ? 0 : 1;
      const std::size_t begin = at_++;
      value(begin);
    } else if (const std::size_t end = nameEnd(at_); end > at_) {
      add(at_, end, CodeToken::type);
    } else {
      ++at_;
    }
  }

  void value(std::size_t begin) {
    const std::size_t end = text_.find(state_.rule == 0 ? u'"' : u'\'', at_);
    if (end != text_.npos) state_.within = Within::tag;
    add(begin, end == text_.npos ? text_.size() : end + 1, CodeToken::string);
  }

  void comment() {
    const std::size_t end = text_.find(kClose, at_);
    if (end != text_.npos) state_.within = Within::code;
    const std::size_t begin = !spans_.empty() && spans_.back().token == CodeToken::comment &&
                                      spans_.back().begin + spans_.back().length == at_
                                  ? spans_.back().begin
                                  : at_;
    if (begin < at_) spans_.pop_back();
    add(begin, end == text_.npos ? text_.size() : end + kClose.size(), CodeToken::comment);
  }

  void script() {
    const std::u16string end = u"</" + state_.close;
    for (at_ = text_.find(u"</", at_); at_ < text_.size(); at_ = text_.find(u"</", at_ + 1)) {
      if (lowerCase(text_.substr(at_, end.size())) != end) continue;
      state_.close.clear();
      state_.within = Within::code;
      return;
    }
    at_ = text_.size();
  }

  std::u16string_view text_;
  Highlighter::State& state_;
  std::vector<CodeSpan> spans_;
  std::size_t at_ = 0;
};

}  // namespace

std::vector<CodeSpan> markupSpans(std::u16string_view text, Highlighter::State& state) {
  return MarkupScanner(text, state).spans();
}

std::vector<CodeSpan> patchSpans(std::u16string_view text) {
  const auto begins = [&](std::u16string_view mark) { return text.starts_with(mark); };
  const auto whole = [&](CodeToken token) { return std::vector<CodeSpan>{{0, text.size(), token}}; };
  if (text.empty()) return {};
  if (begins(u"@@")) return whole(CodeToken::keyword);
  for (const std::u16string_view mark :
       {u"+++ ", u"--- ", u"diff ", u"index ", u"new file", u"deleted file", u"rename ", u"similarity ", u"old mode",
        u"new mode", u"Binary files", u"\\ No newline"}) {
    if (begins(mark)) return whole(CodeToken::comment);
  }
  if (begins(u"+") || begins(u">")) return whole(CodeToken::added);
  if (begins(u"-") || begins(u"<")) return whole(CodeToken::removed);
  return {};
}

}  // namespace ravant::desktop
