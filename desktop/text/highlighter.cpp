#include "desktop/text/highlighter.hpp"

#include <algorithm>

#include "desktop/text/code_rules.hpp"
#include "desktop/text/code_scanner.hpp"
#include "desktop/text/languages/language.hpp"
#include "desktop/text/markup_scanner.hpp"

namespace ravant::desktop {
namespace {

/// Leaves nothing in `state` that means nothing in it, so that states that mean the same are equal.
void settle(Highlighter::State& state) {
  using Within = Highlighter::State::Within;
  if (state.within != Within::comment && state.within != Within::string) state.rule = 0;
  if (state.within != Within::comment) state.depth = 0;
  if (state.within == Within::code) state.close.clear();
  std::fill(state.braces.begin() + state.templates, state.braces.end(), std::uint8_t{0});
}

std::vector<CodeSpan> spansOf(const CodeRules& rules, std::u16string_view text, Highlighter::State& state) {
  switch (rules.language().grammar) {
    case Grammar::code:
      return CodeScanner(rules, text, state).spans();
    case Grammar::markup:
      return markupSpans(text, state);
    case Grammar::patch:
      return patchSpans(text);
  }
  return {};
}

}  // namespace

Highlighter::Highlighter(std::string_view language) {
  if (const Language* const found = findLanguage(language)) rules_ = std::make_shared<const CodeRules>(*found);
}

std::vector<CodeSpan> Highlighter::line(std::u16string_view text, State& state) const {
  if (!rules_) return {};
  std::vector<CodeSpan> spans = spansOf(*rules_, text, state);
  settle(state);
  return spans;
}

}  // namespace ravant::desktop
