#include "runners/codex/shell_wrapping.hpp"

#include <algorithm>
#include <array>
#include <optional>
#include <utility>
#include <vector>

namespace ravant::codex {
namespace {

constexpr std::array<std::string_view, 6> kShells = {"bash", "zsh", "sh", "dash", "ksh", "fish"};
constexpr std::string_view kBlanks = " \t\n";
constexpr std::string_view kOperators = "|&;<>()$`";
constexpr std::string_view kEscapedInQuotes = "$`\"\\";

/// Reads a POSIX shell's words from a line without operators and expansions.
class WordReader {
 public:
  /// Nothing for a line that has them, or a quote that is not closed.
  std::optional<std::vector<std::string>> read(std::string_view line) {
    for (rest_ = line; !rest_.empty();) {
      if (!readPiece(take())) return std::nullopt;
    }
    endWord();
    return std::move(words_);
  }

 private:
  bool readPiece(char c) {
    if (kBlanks.contains(c)) {
      endWord();
      return true;
    }
    if (kOperators.contains(c)) return false;
    if (!word_) word_.emplace();
    if (c == '\'') return readSingleQuoted();
    if (c == '"') return readDoubleQuoted();
    if (c == '\\') {
      if (rest_.empty()) return false;
      c = take();
    }
    *word_ += c;
    return true;
  }

  bool readSingleQuoted() {
    const std::size_t end = rest_.find('\'');
    if (end == std::string_view::npos) return false;
    *word_ += rest_.substr(0, end);
    rest_.remove_prefix(end + 1);
    return true;
  }

  bool readDoubleQuoted() {
    while (!rest_.empty()) {
      char c = take();
      if (c == '"') return true;
      if (c == '$' || c == '`') return false;
      if (c == '\\' && !rest_.empty() && kEscapedInQuotes.contains(rest_.front())) c = take();
      *word_ += c;
    }
    return false;
  }

  char take() {
    const char c = rest_.front();
    rest_.remove_prefix(1);
    return c;
  }

  void endWord() {
    if (word_) words_.push_back(*std::exchange(word_, std::nullopt));
  }

  std::string_view rest_;
  std::optional<std::string> word_;
  std::vector<std::string> words_;
};

bool isShell(std::string_view program) {
  return std::ranges::count(kShells, program.substr(program.rfind('/') + 1)) > 0;
}

}  // namespace

std::string withoutShell(std::string_view commandLine) {
  auto words = WordReader().read(commandLine);
  const bool isWrapped = words && words->size() == 3 && isShell(words->at(0)) &&
                         (words->at(1) == "-lc" || words->at(1) == "-c") && !words->at(2).empty();
  return isWrapped ? std::move(words->at(2)) : std::string(commandLine);
}

}  // namespace ravant::codex
