#include "desktop/conversation/transcript_work.hpp"

#include <algorithm>
#include <iterator>

namespace ravant::desktop {

bool TranscriptWork::isNone() const {
  return !opens && !isReadAgain && !around && !place && !words && !isBehindRead && inserted.empty() && !isSummaryRead &&
         !isRunOver && items.empty() && invocations.empty() && texts.empty() && !isOlderRead && !isNewerRead && !isSeen;
}

bool TranscriptWork::isAwaited() const {
  return opens || around || place || words || !texts.empty() || isOlderRead || isNewerRead;
}

void TranscriptWork::add(TranscriptWork later) {
  opens |= later.opens;
  isEndWanted |= later.isEndWanted;
  isReadAgain |= later.isReadAgain;
  if (later.around) around = later.around;
  if (later.place) place = later.place;
  if (later.words) words = later.words;
  isBehindRead |= later.isBehindRead;
  isSummaryRead |= later.isSummaryRead;
  isRunOver |= later.isRunOver;
  isOlderRead |= later.isOlderRead;
  isNewerRead |= later.isNewerRead;
  isSeen |= later.isSeen;
  std::ranges::move(later.inserted, std::back_inserter(inserted));
  items.merge(later.items);
  invocations.merge(later.invocations);
  texts.merge(later.texts);
}

}  // namespace ravant::desktop
