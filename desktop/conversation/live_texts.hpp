#pragma once

#include <QObject>
#include <deque>
#include <map>
#include <optional>
#include <string>

#include "core/conversation_item.hpp"
#include "desktop/program/store_changes.hpp"

namespace ravant::desktop {

/// A text that an agent is writing, under the name that its rows have while they are shown.
struct GrowingText {
  std::string key;
  std::string text;
};

/// Of a row of it.
inline std::string textKeyOf(const std::string& rowKey) { return rowKey.substr(0, rowKey.find('/')); }

/// What a run shows that is not stored.
struct LiveRun {
  std::optional<GrowingText> growing = {};
  /// Texts that are complete and whose stored messages were not read yet, the oldest first.
  std::deque<GrowingText> complete = {};
  std::string reasoning = {};
  std::optional<RunState> state = {};
  /// What is left of it is shown until it was read.
  bool isOver = false;
  /// What grows began in what was not told: the rest of it is not shown before it is stored.
  bool isCut = false;
  /// Whether that was so with any text of the run: a message may be stored that never was here.
  bool wasCut = false;
  /// Of what stands behind the stored items; another one behind others.
  int number = 0;

  /// Whether an entry that was stored may take the place of something here.
  bool isReplaceable() const { return growing || !complete.empty() || !reasoning.empty() || isCut; }
  /// Some of what was stored is not told: it may be what was growing.
  void cut();
};

/// Collects what the runs of this process are writing and doing, whichever conversation is shown.
class LiveTexts : public QObject {
  Q_OBJECT

 public:
  explicit LiveTexts(StoreChanges& changes);

  /// Null where nothing is known of a run.
  const LiveRun* find(ConversationId conversation) const;
  /// An entry of the transcript was read that stands behind all that was there: takes the growing text that it
  /// replaces, where it is a message. `text` is the entry's, where it is known.
  std::optional<GrowingText> replacedBy(ConversationId conversation, ConversationItemKind kind,
                                        std::string_view text = {});
  void drop(ConversationId conversation) { runs_.erase(conversation); }
  /// Entries were stored that are not read one by one.
  void skip(ConversationId conversation);

  /// The one that is shown: of others, a stored message drops what was growing.
  void setShown(std::optional<ConversationId> conversation);

 Q_SIGNALS:
  void grew(ConversationId conversation);
  void stateChanged(ConversationId conversation);
  void ended(ConversationId conversation);

 private:
  void add(ConversationId conversation, const Growth& growth);
  void setState(ConversationId conversation, const std::optional<RunState>& state);

  std::map<ConversationId, LiveRun> runs_;
  /// While changes are told of which some are missing.
  bool isIncomplete_ = false;
  std::optional<ConversationId> shown_;
  int lastKey_ = 0;
};

}  // namespace ravant::desktop
