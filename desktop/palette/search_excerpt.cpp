#include "desktop/palette/search_excerpt.hpp"

#include <algorithm>
#include <map>
#include <optional>
#include <utility>

namespace ravant::desktop {
namespace {

/// Something that is left out, or stands for what is.
struct Cut {
  std::size_t begin;
  std::size_t end;
  std::string_view instead = {};
};

constexpr std::string_view kLeftOut = "…";

bool isBlank(char byte) { return byte == ' '; }

bool isWord(char byte) {
  const auto value = static_cast<unsigned char>(byte);
  return value >= 0x80 || (value >= '0' && value <= '9') || ((value | 0x20) >= 'a' && (value | 0x20) <= 'z') ||
         byte == '_';
}

std::size_t endOfRun(std::string_view text, std::size_t begin) {
  const std::size_t end = text.find_first_not_of(text[begin], begin);
  return end == std::string_view::npos ? text.size() : end;
}

std::size_t endOfWord(std::string_view text, std::size_t begin) {
  while (begin < text.size() && (isWord(text[begin]) || text[begin] == '+' || text[begin] == '#')) ++begin;
  return begin;
}

std::size_t behindLeftOut(std::string_view text) { return text.starts_with(kLeftOut) ? kLeftOut.size() : 0; }
std::size_t beforeLeftOut(std::string_view text) {
  return text.size() - (text.ends_with(kLeftOut) ? kLeftOut.size() : 0);
}

bool isMarked(const SearchSnippet& snippet, std::size_t begin, std::size_t end) {
  return std::ranges::any_of(snippet.marks, [&](const TextSpan& mark) { return mark.begin < end && begin < mark.end; });
}

/// What of Markdown can be told from a piece of it on one line.
class MarkdownSigns {
 public:
  explicit MarkdownSigns(const SearchSnippet& snippet) : snippet_(snippet), text_(snippet.text) {}

  std::vector<Cut> find() {
    for (std::size_t at = 0; at < text_.size();) at = look(at);
    std::ranges::sort(cuts_, {}, &Cut::begin);
    return std::move(cuts_);
  }

 private:
  std::size_t look(std::size_t at) {
    switch (text_[at]) {
      case '`':
        return code(at);
      case '*':
        return emphasis(at);
      case '#':
        return heading(at);
      case '[':
        bracket_ = at;
        return at + 1;
      case ']':
        return link(at);
      default:
        return at + 1;
    }
  }

  bool isOpen(std::size_t at) const { return at == 0 || isBlank(text_[at - 1]) || at == behindLeftOut(text_); }

  std::size_t code(std::size_t at) {
    std::size_t end = endOfRun(text_, at);
    if (end - at >= 3) {
      end = endOfWord(text_, end);
      if (end < text_.size() && isBlank(text_[end])) ++end;
    }
    cuts_.push_back({at, end});
    return end;
  }

  // A single star is a sign only where another one closes it: it may be a product or a pointer.
  std::size_t emphasis(std::size_t at) {
    const std::size_t end = endOfRun(text_, at);
    const bool afterBlank = isOpen(at);
    const bool beforeBlank = end == text_.size() || isBlank(text_[end]);
    if (afterBlank && beforeBlank) return end;
    if (end - at > 1) {
      cuts_.push_back({at, end});
    } else if (!beforeBlank && (afterBlank || !isWord(text_[at - 1]))) {
      star_ = at;
    } else if (star_ && !afterBlank && (beforeBlank || !isWord(text_[end]))) {
      cuts_.push_back({*star_, *star_ + 1});
      cuts_.push_back({at, end});
      star_.reset();
    }
    return end;
  }

  std::size_t heading(std::size_t at) {
    const std::size_t end = endOfRun(text_, at);
    if (isOpen(at) && end - at <= 6 && end < text_.size() && isBlank(text_[end])) cuts_.push_back({at, end + 1});
    return end;
  }

  std::size_t link(std::size_t at) {
    if (!bracket_ || at + 1 >= text_.size() || text_[at + 1] != '(') return at + 1;
    const std::size_t close = text_.find(')', at);
    const std::size_t end = close == std::string_view::npos ? beforeLeftOut(text_) : close + 1;
    const std::size_t open = *std::exchange(bracket_, std::nullopt);
    if (!isMarked(snippet_, at, end)) {
      cuts_.push_back({open, open + 1});
      cuts_.push_back({at, end});
    }
    return end;
  }

  const SearchSnippet& snippet_;
  std::string_view text_;
  std::vector<Cut> cuts_;
  std::optional<std::size_t> star_;
  std::optional<std::size_t> bracket_;
};

/// Whether a piece that begins within JSON shows the end of a member's name, or of the whole.
bool endsJson(std::string_view text) {
  const std::size_t begin = behindLeftOut(text);
  if (begin == 0) return false;
  const std::string_view behindName = text.substr(endOfWord(text, begin));
  if (behindName.starts_with("\":") && behindName.find_first_of("\"{[-0123456789tfn", 2) == 2) return true;
  const std::size_t closing = text.find_last_not_of("}]\"") + 1;
  const bool closesAnObject = text.substr(closing).contains('}') && text.substr(closing).starts_with('"');
  return closesAnObject && std::ranges::count(text, '{') < std::ranges::count(text, '}');
}

bool isJson(std::string_view text) {
  if (text.starts_with("{\"") || text.starts_with("[{\"") || endsJson(text)) return true;
  for (std::size_t quote = text.find('"'); quote != std::string_view::npos; quote = text.find('"', quote + 1)) {
    const std::size_t end = endOfWord(text, quote + 1);
    if (end > quote + 1 && text.substr(end).starts_with("\":")) return true;
  }
  return false;
}

/// The signs between the texts of JSON, and what they say. The same signs within a text stay, as far as these can be
/// told apart in a piece whose escapes are gone.
class JsonSigns {
 public:
  explicit JsonSigns(std::string_view text) : text_(text) {}

  std::vector<Cut> find() {
    for (std::size_t at = text_.find_first_of(kSigns); at != std::string_view::npos;
         at = text_.find_first_of(kSigns, at)) {
      const std::size_t end = std::min(text_.find_first_not_of(kSigns, at), text_.size());
      if (at <= behindLeftOut(text_)) {
        cutAtEdge(at, end);
      } else if (const std::size_t begin = isText_ ? endOfText(at, end) : at; begin < end) {
        end >= beforeLeftOut(text_) ? cutAtEdge(begin, end) : cut(begin, end);
      }
      at = end;
    }
    return std::move(cuts_);
  }

 private:
  static constexpr std::string_view kSigns = "{}[]\",: ";

  /// Where among the signs those begin with which the text ends; `end` where it goes on.
  std::size_t endOfText(std::size_t at, std::size_t end) const {
    for (std::size_t quote = text_.find('"', at); quote < end; quote = text_.find('"', quote + 1)) {
      if (endsText(quote, end)) return quote;
    }
    return end;
  }

  bool endsText(std::size_t quote, std::size_t end) const {
    const std::string_view behind = text_.substr(quote + 1, end - quote - 1);
    if (behind.starts_with(':')) return mayBeName(quote);
    const std::string_view rest = behind.substr(std::min(behind.find_first_not_of("}]"), behind.size()));
    if (rest.empty()) return end >= beforeLeftOut(text_);
    return rest.starts_with(',') && rest.find_first_of("\"{[") != std::string_view::npos;
  }

  bool mayBeName(std::size_t end) const {
    return mayBeName_ && !text_.substr(textBegin_, end - textBegin_).contains(' ');
  }

  void cutAtEdge(std::size_t begin, std::size_t end) {
    const std::string_view run = text_.substr(begin, end - begin);
    if (run.find_first_of("{}[]\"") != std::string_view::npos) cuts_.push_back({begin, end});
    goOn(run, end);
  }

  void cut(std::size_t begin, std::size_t end) {
    const std::string_view run = text_.substr(begin, end - begin);
    if (!run.contains('"')) return;
    cuts_.push_back({begin, end, run.contains(':') ? ": " : run.contains(',') ? " · " : ""});
    goOn(run, end);
  }

  void goOn(std::string_view run, std::size_t end) {
    if (run.contains('"')) isText_ = run.ends_with('"');
    mayBeName_ = run.ends_with("{\"") || run.ends_with(",\"") || run.ends_with(", \"") || run.ends_with("{ \"");
    textBegin_ = end;
  }

  std::string_view text_;
  std::vector<Cut> cuts_;
  bool isText_ = true;
  bool mayBeName_ = true;
  std::size_t textBegin_ = behindLeftOut(text_);
};

/// Leaves out no cut in which something is marked.
SearchSnippet without(const SearchSnippet& snippet, const std::vector<Cut>& cuts) {
  SearchSnippet left;
  std::map<std::size_t, std::size_t> places;  // of the ends of marks
  for (const TextSpan& mark : snippet.marks) places[mark.begin] = places[mark.end] = 0;
  auto place = places.begin();
  std::size_t at = 0;
  const auto keepUpTo = [&](std::size_t end) {
    for (; place != places.end() && place->first <= end; ++place)
      place->second = left.text.size() + (place->first - at);
    left.text.append(snippet.text, at, end - at);
    at = end;
  };
  for (const Cut& cut : cuts) {
    if (isMarked(snippet, cut.begin, cut.end) || cut.begin < at) continue;
    keepUpTo(cut.begin);
    left.text += cut.instead;
    at = cut.end;
  }
  keepUpTo(snippet.text.size());
  for (const TextSpan& mark : snippet.marks) left.marks.push_back({places[mark.begin], places[mark.end]});
  return left;
}

}  // namespace

SearchSnippet readable(SearchSnippet snippet, ConversationItemKind kind) {
  switch (kind) {
    case ConversationItemKind::agentMessage:
      return without(snippet, MarkdownSigns(snippet).find());
    case ConversationItemKind::toolInvocationGroup:
      return isJson(snippet.text) ? without(snippet, JsonSigns(snippet.text).find()) : snippet;
    case ConversationItemKind::userMessage:
    case ConversationItemKind::compactionEvent:
    case ConversationItemKind::failureEvent:
      return snippet;
  }
  __builtin_unreachable();
}

}  // namespace ravant::desktop
