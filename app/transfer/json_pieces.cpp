#include "app/transfer/json_pieces.hpp"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <optional>
#include <system_error>

#include "app/transfer/conversation_file.hpp"

namespace ravant {
namespace {

constexpr std::size_t kReadSize = 256 * 1024;
constexpr std::string_view kWhiteSpace = " \t\r\n";

}  // namespace

void JsonPieces::failAt(std::int64_t line, const std::string& words) {
  throw ConversationFileError(fmt::format("line {}: {}", line, words));
}

bool JsonPieces::fill() {
  buffer_.resize(kReadSize);
  next_ = 0;
  ssize_t count = 0;
  do count = ::read(file_.get(), buffer_.data(), buffer_.size());
  while (count < 0 && errno == EINTR);
  buffer_.resize(static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
  if (count < 0) throw std::system_error(errno, std::generic_category(), "the file could not be read");
  return count > 0;
}

std::optional<char> JsonPieces::peek() {
  for (;;) {
    const std::size_t found = std::min(buffer_.find_first_not_of(kWhiteSpace, next_), buffer_.size());
    line_ += std::count(buffer_.begin() + static_cast<std::ptrdiff_t>(next_),
                        buffer_.begin() + static_cast<std::ptrdiff_t>(found), '\n');
    next_ = found;
    if (next_ < buffer_.size()) return buffer_[next_];
    if (!fill()) return std::nullopt;
  }
}

void JsonPieces::expect(char wanted) {
  const auto found = peek();
  if (!found) failAtEnd();
  if (*found != wanted) fail(fmt::format("here should be {}", wanted));
  ++next_;
}

void JsonPieces::take(std::string& text, std::size_t end) {
  const std::string_view taken = std::string_view(buffer_).substr(next_, end - next_);
  text += taken;
  line_ += std::ranges::count(taken, '\n');
  next_ = end;
}

void JsonPieces::takeString(std::string& text, std::size_t most) {
  take(text, next_ + 1);
  for (;;) {
    expectAtMost(most, text);
    const std::size_t found = std::min(buffer_.find_first_of("\"\\", next_), buffer_.size());
    take(text, found);
    if (next_ == buffer_.size()) {
      if (!fill()) failAtEnd();
      continue;
    }
    const bool isEnd = buffer_[next_] == '"';
    take(text, next_ + 1);
    if (isEnd) return;
    if (next_ == buffer_.size() && !fill()) failAtEnd();
    take(text, next_ + 1);
  }
}

std::string JsonPieces::value(std::size_t most) {
  std::string text;
  if (!peek()) failAtEnd();
  for (std::size_t depth = 0;;) {
    expectAtMost(most, text);
    if (next_ == buffer_.size() && !fill()) failAtEnd();
    const char c = buffer_[next_];
    if (c == '"') {
      takeString(text, most);
      if (depth == 0) return text;
    } else if (c == '{' || c == '[') {
      ++depth;
      take(text, next_ + 1);
    } else if (c == '}' || c == ']') {
      if (depth == 0) return text;
      take(text, next_ + 1);
      if (--depth == 0) return text;
    } else if (depth == 0 && (c == ',' || c == ':' || kWhiteSpace.contains(c))) {
      return text;
    } else {
      take(text, std::min(buffer_.find_first_of(depth == 0 ? "\"{}[],: \t\r\n" : "\"{}[]", next_ + 1), buffer_.size()));
    }
  }
}

}  // namespace ravant
