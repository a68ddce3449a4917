#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace ravant::desktop {

/// What md4c is given of a text, and which bytes of the text stand behind it: what is shown is always taken from there.
///
/// Nothing is left in it that takes md4c more than linear time: marks of containers that are nested beyond a hundred in
/// a line, and the brackets of paragraphs with very many lines and brackets, are plain characters. So is the
/// character NUL, which it tells twice. The lines below the
/// headers of tables have the three dashes that it asks for, where GitHub is content with one, and their empty
/// cells have the blank without which it passes them over.
class ParserInput {
 public:
  explicit ParserInput(std::string_view markdown);

  const std::string& text() const { return text_; }
  /// The place in the Markdown of what is at `offset` in `text`.
  std::size_t original(std::size_t offset) const;

 private:
  /// Bytes that are only in `text_`.
  struct Inserted {
    std::size_t at;
    std::size_t count;
    std::size_t before;  ///< how many were inserted until then
  };

  void addLine(std::string_view line);
  void addDelimiters(std::string_view line);
  void addCells(std::string_view line);
  void insert(std::size_t count, char byte);

  std::string text_;
  std::vector<Inserted> inserted_;
};

}  // namespace ravant::desktop
