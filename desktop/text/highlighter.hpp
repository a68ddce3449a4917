#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace ravant::desktop {

/// What code is painted as. `added` and `removed` are lines of patches. Constants count as numbers; keys of data and
/// variables as types.
enum class CodeToken : std::uint8_t { plain, keyword, type, string, number, comment, call, added, removed };

/// UTF-16 units of a line. What is plain has no span.
struct CodeSpan {
  std::size_t begin;
  std::size_t length;
  CodeToken token;

  bool operator==(const CodeSpan&) const = default;
};

class CodeRules;

/// Paints the lines of one text of code, one after the other. It takes nothing for wrong, for it reads parts of files
/// and text that is still arriving.
class Highlighter {
 public:
  /// What the lines before have left open: a comment, a string, the parts of a template.
  struct State {
    enum class Within : std::uint8_t { code, string, comment, raw, document, tag };

    Within within = Within::code;
    /// Which of the language's rules has been begun.
    std::uint8_t rule = 0;
    /// How many templates the code stands in, and for each how many braces are open.
    std::uint8_t templates = 0;
    std::array<std::uint8_t, 3> braces{};
    /// Of comments that nest.
    std::uint32_t depth = 0;
    /// What ends it, where the text itself says so.
    std::u16string close = {};

    bool operator==(const State&) const = default;
  };

  /// `language` is whatever `languageOf` takes. The lines of one that is not known have no spans.
  explicit Highlighter(std::string_view language);

  /// The spans of `text`, a line without its end, in their order and apart. `state` is what the line before has left,
  /// and becomes what this one leaves. Time is linear in the line.
  std::vector<CodeSpan> line(std::u16string_view text, State& state) const;

 private:
  std::shared_ptr<const CodeRules> rules_;
};

/// The language that the word behind a fence (`c++`, `tsx title=a`), a file's name or a path (`src/CMakeLists.txt`)
/// stands for, as the shortest word for it (`cpp`); empty where it is not known.
std::string_view languageOf(std::string_view infoStringOrFileName);

/// The file that what stands behind a fence names, if it does: `ts:src/a.ts`, `py title="a.py"`.
std::string_view fileNamedIn(std::string_view infoString);

/// As it is shown: `C++`. The word itself where it is not known.
std::string languageName(std::string_view infoStringOrFileName);

}  // namespace ravant::desktop
