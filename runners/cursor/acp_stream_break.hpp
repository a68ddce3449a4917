#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace ravant {

/// Finds the words that Cursor puts into what it says when its model's stream breaks, however they are cut into
/// pieces. A state machine over one message after the other. Where the message quotes the words they are its own; in
/// code or behind a quotation mark what follows them tells which it is, and at the message's end it is the break.
class AcpStreamBreak {
 public:
  static constexpr std::string_view kWords = "Error: RetriableError: WritableIterable is closed";

  struct Piece {
    std::string text;
    bool isBroken = false;  ///< the words follow the text, which ends its message
    bool operator==(const Piece&) const = default;
  };

  /// What is known to have been said by now; the rest, which could be the words or their beginning, is held back.
  std::vector<Piece> take(std::string_view chunk);
  /// The message is over: what was held back of it.
  Piece release();

  bool isHolding() const { return !held_.empty(); }

 private:
  enum class Meaning { open, quoted, broken };

  Meaning meaningOf(std::string_view behind) const;
  void say(std::string_view text, Piece& piece);

  std::string held_;
  bool isInCode_ = false;  ///< an odd number of backticks was said
  char last_ = '\0';
};

}  // namespace ravant
