#include "core/store/search/search_snippet.hpp"

#include <optional>
#include <utility>

#include "core/store/search/search_letter.hpp"

namespace ravant {
namespace {

constexpr std::size_t kBytesBefore = 48;
constexpr std::size_t kBytes = 180;
constexpr std::string_view kLeftOut = "…";

bool isInsideCharacter(char byte) { return (static_cast<unsigned char>(byte) & 0xC0) == 0x80; }

/// At most so many bytes before `position`, behind a blank where there is one among them.
std::size_t beginBefore(std::string_view text, std::size_t position) {
  if (position <= kBytesBefore) return 0;
  std::size_t begin = position - kBytesBefore;
  const std::size_t blank = text.find_first_of(" \t\n", begin);
  if (blank < position) begin = blank + 1;
  while (begin < position && isInsideCharacter(text[begin])) ++begin;
  return begin;
}

/// Puts a snippet together, character by character.
class Writer {
 public:
  void write(std::string_view character, LetterKind kind) {
    if (kind == LetterKind::blank) {
      hasGap_ = !snippet_.text.empty();
      return;
    }
    if (kind == LetterKind::mark && character.starts_with('\x1b')) return;
    closeGap();
    snippet_.text += character;
  }
  void beginMark() {
    closeGap();
    markBegin_ = snippet_.text.size();
  }
  void endMark() {
    if (markBegin_) snippet_.marks.push_back({*markBegin_, snippet_.text.size()});
    markBegin_.reset();
  }
  void leaveOut() { snippet_.text += kLeftOut; }

  bool isMarking() const { return markBegin_.has_value(); }
  bool isFull() const { return snippet_.text.size() >= kBytes; }
  SearchSnippet take() { return std::move(snippet_); }

 private:
  void closeGap() {
    if (std::exchange(hasGap_, false)) snippet_.text += ' ';
  }

  SearchSnippet snippet_;
  std::optional<std::size_t> markBegin_;
  bool hasGap_ = false;
};

}  // namespace

SearchSnippet snippetOf(std::string_view text, const std::vector<TextSpan>& marks) {
  Writer writer;
  std::size_t at = beginBefore(text, marks.empty() ? 0 : marks.front().begin);
  if (at > 0) writer.leaveOut();
  std::size_t markEnd = 0;
  for (auto mark = marks.begin(); at < text.size() && !writer.isFull();) {
    if (at >= markEnd) writer.endMark();
    while (mark != marks.end() && mark->begin < at) ++mark;
    if (!writer.isMarking() && mark != marks.end() && mark->begin == at) {
      writer.beginMark();
      markEnd = mark->end;
    }
    const SearchLetter letter = searchLetterAt(text, at);
    writer.write(text.substr(at, letter.size), letter.kind);
    at += letter.size;
  }
  writer.endMark();
  if (at < text.size()) writer.leaveOut();
  return writer.take();
}

}  // namespace ravant
