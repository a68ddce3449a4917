#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "core/store/search/search_letter.hpp"
#include "core/store/search/text_units.hpp"

namespace ravant {

/// How the last word of a search is meant: as it stands, or as the beginning of one that is still being typed.
enum class LastWord { whole, begun };

/// What somebody searches for: words, texts in quotes and beginnings (`pars*`), all of which have to occur.
///
/// A part occurs where its units stand one behind the other as words or as subwords, whatever their case and accents.
/// So `parser` is found in `MyParser`, in `my_parser` and in `parser.cpp`, and each of those finds only itself.
class SearchPattern {
 public:
  /// Takes any text; what is no UTF-8 counts as symbols.
  SearchPattern(std::string_view query, LastWord lastWord);

  /// Whether there is a letter or digit in it, without which the index finds nothing.
  bool hasWords() const { return !indexQuery_.empty(); }

  /// In the language of the index: finds every text that matches, and may find others.
  const std::string& indexQuery() const { return indexQuery_; }

  struct Match {
    double score = 0;                  ///< the more the better; in steps, so that many are alike
    std::size_t text = 0;              ///< the one in which most of the parts occur
    std::vector<TextSpan> marks = {};  ///< what occurs there, in order
  };
  /// Whether all parts occur in the texts taken together.
  std::optional<Match> match(std::span<const std::string_view> texts) const;

 private:
  struct Part {
    TextUnits units = {};
    bool isPrefix = false;
    std::string folded = {};
  };
  struct Findings;

  void add(std::string_view text, bool mayBeBegun);
  void addToIndexQuery(const Part& part);
  bool mayStandIn(std::span<const std::string_view> texts) const;
  void look(std::string_view text, Findings& findings) const;
  Match rated(const Findings& findings) const;

  std::vector<Part> parts_;
  Part whole_;  ///< all of them as they stand; looked for where there are several
  std::string indexQuery_;
  std::size_t overlap_ = 0;
};

}  // namespace ravant
