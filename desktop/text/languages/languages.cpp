#include <algorithm>
#include <array>

#include "desktop/text/highlighter.hpp"
#include "desktop/text/languages/language.hpp"
#include "desktop/text/shown_text.hpp"
#include "platform/text/text.hpp"

namespace ravant::desktop {
namespace {

constexpr std::size_t kLongestName = 200;
constexpr std::size_t kLongestInfo = 1000;

bool isListed(std::string_view list, std::string_view word) {
  for (std::size_t at = list.find(word); at != list.npos && !word.empty(); at = list.find(word, at + 1)) {
    const std::size_t end = at + word.size();
    if ((at == 0 || list[at - 1] == ' ') && (end == list.size() || list[end] == ' ')) return true;
  }
  return false;
}

/// What `word` is listed as in `list`, a member of each language.
const Language* listedIn(std::string_view Language::* list, std::string_view word) {
  for (const std::span<const Language> languages : allLanguages()) {
    const auto found = std::ranges::find_if(languages, [&](const Language& l) { return isListed(l.*list, word); });
    if (found != languages.end()) return &*found;
  }
  return nullptr;
}

/// The first word of what stands behind a fence: `{.python .numberLines}`, `ts:a.ts` and `rust,ignore` have others
/// behind it.
std::string_view firstWord(std::string_view info) {
  info = trimmed(info.substr(0, kLongestName));
  if (info.starts_with('{')) info.remove_prefix(std::min(info.find_first_not_of("{."), info.size()));
  return info.substr(0, info.find_first_of(" \t,:;{}()="));
}

}  // namespace

std::span<const std::span<const Language>> allLanguages() {
  static const std::array kAll{cFamily(),      applicationLanguages(), scriptLanguages(),
                               webLanguages(), dataLanguages(),        buildLanguages()};
  return kAll;
}

const Language* findLanguage(std::string_view infoStringOrFileName) {
  const std::string word = lowerCase(firstWord(infoStringOrFileName));
  if (const Language* language = listedIn(&Language::aliases, word)) return language;
  const std::string name = word.substr(word.rfind('/') + 1);
  if (const Language* language = listedIn(&Language::fileNames, name)) return language;
  const std::size_t dot = name.rfind('.');
  if (dot != name.npos) return listedIn(&Language::aliases, std::string_view(name).substr(dot + 1));
  constexpr std::string_view kPrefix = "language-";
  return name.starts_with(kPrefix) ? listedIn(&Language::aliases, std::string_view(name).substr(kPrefix.size()))
                                   : nullptr;
}

std::string_view languageOf(std::string_view infoStringOrFileName) {
  const Language* const language = findLanguage(infoStringOrFileName);
  return language == nullptr ? std::string_view() : language->aliases.substr(0, language->aliases.find(' '));
}

std::string_view fileNamedIn(std::string_view infoString) {
  constexpr std::string_view kBetween = " \t,:;{}()=\"'";
  std::string_view rest = trimmed(infoString.substr(0, kLongestInfo));
  while (!rest.empty()) {
    const std::string_view word = rest.substr(0, rest.find_first_of(kBetween));
    const std::size_t dot = word.rfind('.');
    const bool isOfLanguage =
        dot != word.npos && dot > 0 && listedIn(&Language::aliases, lowerCase(word.substr(dot + 1)));
    if (isOfLanguage || (word.contains('/') && !word.starts_with("//"))) return word;
    rest.remove_prefix(std::min(word.size() + 1, rest.size()));
  }
  return {};
}

std::string languageName(std::string_view infoStringOrFileName) {
  const Language* const language = findLanguage(infoStringOrFileName);
  return language == nullptr ? shownText(firstWord(infoStringOrFileName)) : std::string(language->name);
}

}  // namespace ravant::desktop
