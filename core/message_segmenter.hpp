#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/conversation_item.hpp"

namespace ravant {

/// Splits the text of an agent message into prose and fenced code blocks.
///
/// A fence is three or more backticks or tildes, indented by at most three spaces; it is closed by
/// a line of the same character, at least as many, and nothing else. A fence that is never closed
/// runs to the end. Blank lines around prose and behind code are dropped; a line may end in CRLF.
/// Source: CommonMark 0.31.2, "Fenced code blocks".
class MessageSegmenter {
 public:
  static std::vector<MessageBlock> segments(std::string_view text);

 private:
  struct Fence {
    char character;
    std::size_t length;
    std::size_t indent;
  };

  void takeLine(std::string_view line);
  void flushProse();
  void flushCode();
  void append(MessageBlockKind kind, std::optional<std::string> language);

  static std::optional<Fence> openingFence(std::string_view line);
  static bool closes(std::string_view line, const Fence& open);
  static std::optional<std::string> infoString(std::string_view ofFenceLine);
  static bool isBlankLine(std::string_view line);

  std::vector<MessageBlock> blocks_;
  std::vector<std::string_view> pending_;
  std::optional<Fence> open_;
  std::optional<std::string> language_;
};

}  // namespace ravant
