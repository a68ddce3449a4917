#pragma once

#include <QString>
#include <cstddef>
#include <span>
#include <string_view>
#include <vector>

namespace ravant::desktop {

/// A line of a text, or a part of one that is too long to be laid out at once.
struct TextLine {
  std::string_view text;
  bool begins = true;  ///< false for a further part of a line
};

/// What is laid out at once, at most; a single line may be longer.
struct PieceLimit {
  std::size_t lines;
  std::size_t bytes;
};

/// Every byte of the text but its line breaks and those at its end. No part has more than `longest` bytes, cuts a
/// character, or, where it can be avoided, a word.
std::vector<TextLine> textLines(std::string_view text, std::size_t longest);

/// How many of the lines make the first piece: at least one, where there is one.
std::size_t pieceLength(std::span<const TextLine> lines, PieceLimit limit);

/// Of lines of one piece, with what could steer how they are shown made visible.
QString joined(std::span<const TextLine> lines);

/// What a button says that shows these: how many lines, or how much of one.
QString moreWords(std::span<const TextLine> hidden);

}  // namespace ravant::desktop
