#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>

#include "platform/process/unique_fd.hpp"

namespace ravant {

/// A JSON text in a file, cut into values without being parsed, in memory for one of them. All throw
/// `ConversationFileError`, and `std::system_error` where the file cannot be read.
class JsonPieces {
 public:
  explicit JsonPieces(UniqueFd file) : file_(std::move(file)) {}

  /// The next character that is no white space; nothing at the end.
  std::optional<char> peek();
  void expect(char wanted);
  /// The text of the next value, of no more than so many bytes; where it is not well formed, one that no parser takes.
  std::string value(std::size_t most);

  /// Of what comes next, from 1.
  std::int64_t line() const { return line_; }
  [[noreturn]] void fail(const std::string& words) const { failAt(line_, words); }
  [[noreturn]] static void failAt(std::int64_t line, const std::string& words);

 private:
  /// False at the end of the file.
  bool fill();
  /// Takes characters up to where `end` stands.
  void take(std::string& text, std::size_t end);
  void expectAtMost(std::size_t most, const std::string& text) const {
    if (text.size() > most) fail("this is too large to be a part of an exported conversation");
  }
  void takeString(std::string& text, std::size_t most);
  [[noreturn]] void failAtEnd() const { fail("the file ends in the middle, it is not whole"); }

  UniqueFd file_;
  std::string buffer_;
  std::size_t next_ = 0;  ///< in the buffer
  std::int64_t line_ = 1;
};

}  // namespace ravant
