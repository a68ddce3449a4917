#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace ravant {

enum class UnitKind : std::uint8_t { word, ideograph, symbol, blank };

/// The smallest pieces of a text that a search compares: words, ideographs, symbols and runs of blanks. They cover the
/// text without gaps.
///
/// Words are runs of letters and digits. `subwords` parts them where the case says so too: `HTTPServer` is one word and
/// two subwords, `snake_case` two words around a symbol.
struct TextUnits {
  struct Unit {
    std::uint32_t begin;   ///< in the text
    std::uint32_t folded;  ///< where it begins in `folded`
    UnitKind kind;
  };
  /// Each list ends with a unit that has no length.
  std::vector<Unit> words;
  std::vector<Unit> subwords;
  std::string folded;

  std::string_view text(const std::vector<Unit>& units, std::size_t index) const {
    return std::string_view(folded).substr(units[index].folded, units[index + 1].folded - units[index].folded);
  }

  /// Takes in another text, of less than 4 GiB, in the room of the one before.
  void read(std::string_view text);
};

/// The text as `TextUnits` compares it, with one space for each run of blanks: what stands in another text as units
/// also stands there so.
void foldForComparing(std::string_view text, std::string& folded);

/// The next part of a text that is too large to be taken in whole, at most `largest` bytes long, from `begin` on.
std::string_view pieceAt(std::string_view text, std::size_t begin, std::size_t largest);

/// Where the piece behind one that ended at `end` begins: about `overlap` bytes, less than a piece, before that; at the
/// text's end behind the last one.
std::size_t nextPieceBegin(std::string_view text, std::size_t end, std::size_t overlap);

/// The words by which a text is found in the index, parted by blanks, at the end of `words`: each word, its subwords,
/// each ideograph and each pair of them.
void appendIndexWords(std::string_view text, std::string& words);

/// A word as it stands in the index, where long ones are cut.
std::string_view indexForm(std::string_view word);

}  // namespace ravant
