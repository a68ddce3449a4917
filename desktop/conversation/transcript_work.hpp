#pragma once

#include <QString>
#include <deque>
#include <optional>
#include <set>

#include "core/id.hpp"
#include "core/store/search/transcript_finder.hpp"

namespace ravant::desktop {

/// Words that are to be shown where they stand in an item.
struct ShownWords {
  ConversationItemId item;
  QString text;
  FindDirection direction = FindDirection::next;
};

/// What is to be read of a transcript.
struct TranscriptWork {
  bool opens = false;
  /// Wherever the reader left.
  bool isEndWanted = false;
  /// All that is shown, where it stands.
  bool isReadAgain = false;
  std::optional<ConversationItemId> around = {};
  std::optional<double> place = {};
  std::optional<ShownWords> words = {};
  bool isBehindRead = false;
  bool isSummaryRead = false;
  bool isRunOver = false;
  std::deque<ConversationItemId> inserted = {};
  std::set<ConversationItemId> items = {};
  std::set<ToolInvocationId> invocations = {};
  std::set<ToolInvocationId> texts = {};
  bool isOlderRead = false;
  bool isNewerRead = false;
  bool isSeen = false;

  bool isNone() const;
  /// Whether the reader waits for it.
  bool isAwaited() const;
  /// Does what came later, too.
  void add(TranscriptWork later);
};

}  // namespace ravant::desktop
