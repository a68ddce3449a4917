#include "core/store/search/search_pattern.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <iterator>

namespace ravant {
namespace {

constexpr std::size_t kMostParts = 32;      // of those that the index is asked for, too
constexpr std::size_t kMostIndexWords = 8;  // of each part
constexpr std::size_t kMostMarks = 64;      // of each part
constexpr std::size_t kRatedBytes = 64 * 1024;
constexpr std::size_t kLeastOverlap = 4096;
constexpr std::size_t kMostFolded = 256 * 1024;  // bytes of a text that is folded whole
constexpr std::string_view kBlanks = " \t\r\n";

using Units = std::vector<TextUnits::Unit>;

/// Whether `wanted` stands in `text` from the unit at `at` on.
bool standsAt(const TextUnits& text, const Units& units, std::size_t at, const TextUnits& wanted,
              const Units& wantedUnits, bool isPrefix) {
  if (wantedUnits.size() < 2) return false;
  const std::size_t count = wantedUnits.size() - 1;
  if (at + count >= units.size()) return false;
  for (std::size_t i = 0; i < count; ++i) {
    const UnitKind kind = units[at + i].kind;
    if (kind != wantedUnits[i].kind) return false;
    if (kind == UnitKind::blank) continue;
    const std::string_view present = text.text(units, at + i);
    const std::string_view asked = wanted.text(wantedUnits, i);
    const bool isBegun = isPrefix && i + 1 == count;
    if (isBegun ? !present.starts_with(asked) : present != asked) return false;
  }
  return true;
}

void addSpan(std::vector<TextSpan>& spans, TextSpan span) {
  if (spans.size() < kMostMarks) spans.push_back(span);
}

/// Where it stands in the text as words or as subwords.
std::vector<TextSpan> spansOf(const TextUnits& text, const TextUnits& wanted, bool isPrefix) {
  std::vector<TextSpan> spans;
  const auto look = [&](const Units& units, const Units& wantedUnits) {
    for (std::size_t at = 0; at + 1 < units.size() && spans.size() < kMostMarks; ++at) {
      if (!standsAt(text, units, at, wanted, wantedUnits, isPrefix)) continue;
      addSpan(spans, {units[at].begin, units[at + wantedUnits.size() - 1].begin});
    }
  };
  look(text.words, wanted.words);
  const bool isSame = text.words.size() == text.subwords.size() && wanted.words.size() == wanted.subwords.size();
  if (!isSame) {
    look(text.subwords, wanted.subwords);
    std::ranges::sort(spans, {}, &TextSpan::begin);
    const auto doubles = std::ranges::unique(spans, {}, &TextSpan::begin);
    spans.erase(doubles.begin(), doubles.end());
  }
  return spans;
}

/// The words of one kind of units, all of which a text has that the units stand in.
std::string indexWords(const TextUnits& units, const Units& list, bool isPrefix) {
  std::string query;
  std::size_t count = 0;
  const auto add = [&](std::string_view word, std::string_view suffix) {
    if (count++ >= kMostIndexWords) return;
    fmt::format_to(std::back_inserter(query), "{}\"{}\"{}", query.empty() ? "" : " AND ", indexForm(word), suffix);
  };
  for (std::size_t i = 0; i + 1 < list.size(); ++i) {
    const bool isLast = i + 2 == list.size();
    if (list[i].kind == UnitKind::word) add(units.text(list, i), isLast && isPrefix ? "*" : "");
    if (list[i].kind != UnitKind::ideograph) continue;
    if (!isLast && list[i + 1].kind == UnitKind::ideograph) {
      add(fmt::format("{}{}", units.text(list, i), units.text(list, i + 1)), "");
    } else if (i == 0 || list[i - 1].kind != UnitKind::ideograph) {
      add(units.text(list, i), "");
    }
  }
  return query;
}

}  // namespace

struct SearchPattern::Findings {
  /// Of one part in one text.
  struct InText {
    std::vector<TextSpan> spans = {};
  };
  std::vector<std::vector<InText>> ofParts;  ///< by part and text
  bool isWhole = false;
  std::size_t bytes = 0;
  std::size_t text = 0;  ///< that is looked at

  bool isComplete() const {
    return std::ranges::all_of(ofParts, [](const auto& texts) {
      return std::ranges::any_of(texts, [](const InText& in) { return !in.spans.empty(); });
    });
  }
};

SearchPattern::SearchPattern(std::string_view query, LastWord lastWord) {
  overlap_ = kLeastOverlap + 4 * query.size();
  std::string plain;
  for (std::string_view rest = query;;) {
    rest.remove_prefix(std::min(rest.find_first_not_of(kBlanks), rest.size()));
    if (rest.empty()) break;
    const bool isQuoted = rest.starts_with('"');
    if (isQuoted) rest.remove_prefix(1);
    const std::size_t end = std::min(isQuoted ? rest.find('"') : rest.find_first_of(" \t\r\n\""), rest.size());
    const bool isLast = end == rest.size();
    const std::string_view part = rest.substr(0, end);
    rest.remove_prefix(std::min(rest.size(), end + (isQuoted ? 1 : 0)));
    if (part.empty()) continue;
    add(part, !isQuoted && (part.ends_with('*') || (isLast && lastWord == LastWord::begun)));
    plain.append(plain.empty() ? "" : " ").append(part);
  }
  if (parts_.size() > 1) whole_.units.read(plain);
}

void SearchPattern::add(std::string_view text, bool mayBeBegun) {
  Part part;
  const std::string_view stem = mayBeBegun && text.ends_with('*') ? text.substr(0, text.size() - 1) : text;
  part.units.read(stem);
  const Units& units = part.units.words;
  part.isPrefix = mayBeBegun && units.size() > 1 && units[units.size() - 2].kind == UnitKind::word;
  if (mayBeBegun && !part.isPrefix) part.units.read(text);
  foldForComparing(mayBeBegun && !part.isPrefix ? text : stem, part.folded);
  if (parts_.size() < kMostParts) addToIndexQuery(part);
  parts_.push_back(std::move(part));
}

void SearchPattern::addToIndexQuery(const Part& part) {
  const std::string words = indexWords(part.units, part.units.words, part.isPrefix);
  const std::string subwords = indexWords(part.units, part.units.subwords, part.isPrefix);
  if (words.empty()) return;
  if (!indexQuery_.empty()) indexQuery_ += " AND ";
  indexQuery_ += words == subwords ? fmt::format("({})", words) : fmt::format("(({}) OR ({}))", words, subwords);
}

std::optional<SearchPattern::Match> SearchPattern::match(std::span<const std::string_view> texts) const {
  if (!mayStandIn(texts)) return std::nullopt;
  Findings findings{.ofParts = {parts_.size(), std::vector<Findings::InText>(texts.size())}};
  for (const std::string_view text : texts) {
    look(text, findings);
    ++findings.text;
  }
  if (!findings.isComplete()) return std::nullopt;
  return rated(findings);
}

/// Tells most texts apart that have the words and not the parts, for a small part of what it costs to look at them.
bool SearchPattern::mayStandIn(std::span<const std::string_view> texts) const {
  std::vector<const Part*> missing;
  for (const Part& part : parts_) missing.push_back(&part);
  std::string folded;
  for (const std::string_view text : texts) {
    if (missing.empty() || text.size() > kMostFolded) return true;
    foldForComparing(text, folded);
    std::erase_if(missing, [&](const Part* part) { return folded.contains(part->folded); });
  }
  return missing.empty();
}

void SearchPattern::look(std::string_view text, Findings& findings) const {
  TextUnits units;
  const std::size_t largest = std::max<std::size_t>(64 * 1024, 4 * overlap_);
  for (std::size_t begin = 0; begin < text.size();) {
    if (findings.bytes > kRatedBytes && findings.isComplete()) return;
    const std::string_view piece = pieceAt(text, begin, largest);
    const std::size_t end = begin + piece.size();
    units.read(piece);
    // What touches the edge of a piece may be a part of a word, and is whole in the next one or the one before.
    const auto isWholeWord = [&](const TextSpan& span, bool isPrefix) {
      return (span.begin > 0 || begin == 0) && (span.end < piece.size() || isPrefix || end == text.size());
    };
    for (std::size_t i = 0; i < parts_.size(); ++i) {
      std::vector<TextSpan>& known = findings.ofParts[i][findings.text].spans;
      for (const TextSpan& span : spansOf(units, parts_[i].units, parts_[i].isPrefix)) {
        const bool isNew = known.empty() || known.back().begin < begin + span.begin;
        if (isNew && isWholeWord(span, parts_[i].isPrefix)) addSpan(known, {begin + span.begin, begin + span.end});
      }
    }
    findings.isWhole = findings.isWhole || !spansOf(units, whole_.units, false).empty();
    const std::size_t next = nextPieceBegin(text, end, overlap_);
    findings.bytes += next - begin;
    begin = next;
  }
}

SearchPattern::Match SearchPattern::rated(const Findings& findings) const {
  Match match;
  const double length = 0.3 + static_cast<double>(std::min(findings.bytes, kRatedBytes)) / 2000;
  std::size_t most = 0;
  for (const auto& texts : findings.ofParts) {
    double count = 0;
    for (const auto& in : texts) count += static_cast<double>(in.spans.size());
    match.score += count / (count + length);
  }
  for (std::size_t text = 0; !parts_.empty() && text < findings.ofParts.front().size(); ++text) {
    const auto occurs = [=](const auto& texts) { return !texts[text].spans.empty(); };
    const auto parts = static_cast<std::size_t>(std::ranges::count_if(findings.ofParts, occurs));
    if (parts > most) match.text = text;
    most = std::max(most, parts);
  }
  if (findings.isWhole) match.score += 1;
  match.score = std::round(10 * match.score) / 10;
  for (const auto& texts : findings.ofParts) {
    if (!texts.empty()) std::ranges::copy(texts[match.text].spans, std::back_inserter(match.marks));
  }
  std::ranges::sort(match.marks, {}, &TextSpan::begin);
  return match;
}

}  // namespace ravant
