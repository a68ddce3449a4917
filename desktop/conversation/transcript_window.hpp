#pragma once

#include <QtQml/qqmlregistration.h>
#include <QAbstractListModel>
#include <QTimer>
#include <deque>
#include <map>
#include <set>

#include "core/store/conversation_model_actor.hpp"
#include "core/store/search/transcript_finder.hpp"
#include "core/store/transcript_reader.hpp"
#include "desktop/conversation/found_places.hpp"
#include "desktop/conversation/item_rows.hpp"
#include "desktop/conversation/item_selection.hpp"
#include "desktop/conversation/live_texts.hpp"
#include "desktop/conversation/reading_places.hpp"
#include "desktop/conversation/transcript_part.hpp"
#include "desktop/conversation/transcript_row.hpp"
#include "desktop/conversation/transcript_work.hpp"
#include "desktop/loop/pace.hpp"
#include "desktop/loop/view_model.hpp"
#include "desktop/program/desktop_window.hpp"

namespace ravant::desktop {

/// A part of a conversation as rows, with what its run is writing behind the last: at most `kMostRows` beside those of
/// the items that are visible. Follows the store.
///
/// On the interface thread.
class TranscriptWindow : public QAbstractListModel, public ViewModel {
  Q_OBJECT
  QML_ELEMENT
  /// Empty for none.
  Q_PROPERTY(QString conversation READ conversation WRITE setConversation NOTIFY conversationChanged)
  /// Whether its end is on a window that is looked at: then all of it counts as seen.
  Q_PROPERTY(bool isLookedAt READ isLookedAt WRITE setLookedAt NOTIFY lookedAtChanged)
  Q_PROPERTY(bool isAtEnd READ isAtEnd NOTIFY shownChanged)
  Q_PROPERTY(bool isAtBeginning READ isAtBeginning NOTIFY shownChanged)
  /// Whether what there is was read.
  Q_PROPERTY(bool isOpened READ isOpened NOTIFY shownChanged)
  /// Whether its last row leads on from a run that failed or was interrupted.
  Q_PROPERTY(bool leadsOn READ leadsOn NOTIFY shownChanged)
  /// Items of the whole conversation.
  Q_PROPERTY(int items READ items NOTIFY shownChanged)
  /// Of those, how many came behind what the reader saw of the end.
  Q_PROPERTY(int newItems READ newItems NOTIFY shownChanged)
  /// Of what was not seen when the conversation was opened, how many items there are, while none of them was visible
  /// and they begin above what is; else 0.
  Q_PROPERTY(int unreadAbove READ unreadAbove NOTIFY unreadAboveChanged)
  /// Of what is visible in the whole conversation: where it begins, and how much it is, from 0 to 1.
  Q_PROPERTY(double place READ place NOTIFY placeChanged)
  Q_PROPERTY(double extent READ extent NOTIFY placeChanged)
  /// Why something could not be read, which is tried again with what comes next; empty where nothing is amiss.
  Q_PROPERTY(QString trouble READ trouble NOTIFY troubleChanged)
  /// Whether items are selected.
  Q_PROPERTY(bool hasSelection READ hasSelection NOTIFY selectionChanged)
  /// What is marked wherever it stands in the rows.
  Q_PROPERTY(QString markedText READ markedText NOTIFY markedTextChanged)

 public:
  /// Those to `Table` are of messages only.
  enum Kind {
    UserMessage,
    Prose,
    Heading,
    Quotation,
    Table,
    Code,
    Rule,
    ToolGroup,
    ToolCall,
    ToolText,
    Compaction,
    Failure,
    Interrupted,
    Unread,
    Reasoning,
    RunProgress,
    Stopped
  };
  Q_ENUM(Kind)
  enum Outcome { NoOutcome, Running, Done, Failed };
  Q_ENUM(Outcome)

  enum Role {
    kindRole = Qt::UserRole,
    itemRole,
    isFirstRole,
    isLastRole,
    opensBlockRole,
    closesBlockRole,
    isOpenRole,
    isGrowingRole,
    canActRole,
    outcomeRole,
    levelRole,
    moreRole,
    htmlRole,
    textRole,
    labelRole,
    detailRole,
    iconRole,
    nameRole,
    isSelectedRole,
    paintRole,
    placeRole,
    linksRole
  };

  static constexpr std::size_t kMostRows = 600;
  static constexpr std::size_t kMostRowsOfPage = 250;
  /// Screens: with less there, more is read.
  static constexpr double kNear = 2;
  static constexpr int kOpenedItems = 60;
  static constexpr int kPageItems = 60;
  /// What comes while it is looked at is marked as seen by and by.
  static constexpr std::chrono::milliseconds kSeenInterval{300};
  static constexpr int kJumpItems = 40;  ///< on each side of the target

  struct VisibleRows {
    int first;
    int last;
    double above;  ///< in screens
    double below;
    double cutAbove = 0;  ///< the part of the first row that is not visible, from 0 to 1
    double cutBelow = 0;  ///< of the last one
  };

  explicit TranscriptWindow(QObject* parent = nullptr);

  QString conversation() const { return shown_ ? textOf(*shown_) : QString(); }
  void setConversation(const QString& conversation);
  bool isLookedAt() const { return isLookedAt_; }
  void setLookedAt(bool isLookedAt);
  bool isAtEnd() const { return isAtEnd_; }
  bool isAtBeginning() const { return first_ == 0; }
  bool isOpened() const { return isOpened_; }
  bool leadsOn() const { return !rows_.empty() && rows_.back().canAct; }
  int items() const { return static_cast<int>(count_); }
  int newItems() const;
  int unreadAbove() const { return unreadAbove_; }
  double place() const { return place_; }
  double extent() const { return extent_; }
  const QString& trouble() const { return trouble_; }
  const QString& markedText() const { return markedText_; }
  void setMarkedText(const QString& text);

  /// The rows that are visible, which stay when others leave.
  void showing(const VisibleRows& rows);
  /// The row that stands at the upper edge, and how much of it is above, which is where the reader comes back to; -1
  /// for who is at the end.
  Q_INVOKABLE void keepPlace(int row, double above);
  /// As the last row does it that leads on: one of the two signals follows.
  Q_INVOKABLE void leadOn();
  /// Does what could not be done.
  Q_INVOKABLE void tryAgain() { work(); }
  /// Shows the end, or the item; `jumped` follows.
  Q_INVOKABLE void jumpToEnd();
  Q_INVOKABLE void jumpToItem(const QString& item);
  /// Shows the first item that was not seen.
  Q_INVOKABLE void jumpToUnread();
  /// Shows the first place, or backwards the last, at which the words stand in the item: all of them one behind the
  /// other, else each of them. `placed` follows. What has to be unfolded for it is folded again when other words, or
  /// those of another item, are shown.
  void showWords(ConversationItemId item, const QString& words, FindDirection direction);
  /// To the next place of the same item; false where there is none.
  bool stepPlace(FindDirection direction);
  /// The current place is to be seen again, if there is one.
  Q_INVOKABLE void showPlaceAgain();
  /// Ends the showing of places; what was unfolded for it stays.
  void leavePlaces();
  /// In the item whose words are shown.
  int places() const { return found_ ? static_cast<int>(found_->places.size()) : 0; }
  /// From 1.
  int currentPlace() const { return found_ ? static_cast<int>(found_->current) + 1 : 0; }
  /// The last stored item that is visible; none at the end of the conversation.
  std::optional<ConversationItemId> lastVisible() const;
  /// From 0, the beginning, to 1, the end.
  Q_INVOKABLE void jumpToPlace(double place);
  /// How many items of the whole conversation stand before the row's.
  std::int64_t positionOf(int row) const;
  /// `jumped` to the prompt before or behind the row.
  Q_INVOKABLE void jumpToPrompt(int row, int direction);

  /// Folds or unfolds a group, a call, or reasoning; of other items, what their blocks hide. An open call that is
  /// unfolded again shows more of its output. Whether anything looks otherwise now.
  Q_INVOKABLE bool setOpen(int row, bool isOpen);
  /// Of a code block, a message or a call's output.
  Q_INVOKABLE void showMore(int row);

  /// The row at which the walk by keys stops next: each item is one stop, and so is each call of an open group. The row
  /// itself at the ends.
  Q_INVOKABLE int nextStop(int row, int direction) const;
  Q_INVOKABLE int stopOf(int row) const;
  /// The items to the row are selected, whatever of them leaves the rows; from the other row where none were.
  Q_INVOKABLE void select(int from, int to);
  Q_INVOKABLE void clearSelection();
  bool hasSelection() const { return !selected_.isNone(); }
  /// The stored text of what is selected, by and by, else of the row's item, onto the clipboard.
  Q_INVOKABLE void copy(int row);
  /// Of the row's code block or call's text, else of its item.
  Q_INVOKABLE void copyBlock(int row);
  /// The item of the row; empty where it is not stored.
  Q_INVOKABLE QString itemOf(int row) const;
  /// As `copy`, where the item is among what is selected, else its own text.
  Q_INVOKABLE void copyItem(const QString& item);
  /// The agent's own record of the item.
  Q_INVOKABLE void copyRecord(const QString& item);
  /// The command that opens the conversation.
  Q_INVOKABLE void copyLink() const;
  /// The links of all rows of the stop at which the row is.
  Q_INVOKABLE QStringList linksAt(int row) const;
  /// What is shown of a link's target.
  Q_INVOKABLE QString linkTarget(const QString& link) const;

  int rowCount(const QModelIndex& parent = {}) const override;
  QVariant data(const QModelIndex& index, int role) const override;
  QHash<int, QByteArray> roleNames() const override;
  const std::vector<TranscriptRow>& rows() const { return rows_; }

  /// What the reader opened in the item.
  ItemFolds folds(ConversationItemId item) const;
  const std::map<ToolInvocationId, CallTexts>& openTexts() const { return callTexts_; }
  const Reading& reading() const { return reading_; }
  /// Whether everything that was announced so far has been read.
  bool isSettled() const { return !isWorking_ && !growth_.isActive() && !rest_.isActive(); }
  std::optional<ConversationId> shown() const { return shown_; }

 Q_SIGNALS:
  void conversationChanged();
  void lookedAtChanged();
  void shownChanged();
  void unreadAboveChanged();
  void placeChanged();
  void selectionChanged();
  void markedTextChanged();
  /// The view goes to the place in this row, of which `placeRole` tells more.
  void placed(int row);
  /// `places` or `currentPlace` may have changed.
  void placesChanged();
  /// The rows are others: the view goes to this one, or to the end where it is -1.
  void jumped(int row);
  /// The rows are those that the reader left: this much of the row is above the upper edge.
  void returned(int row, double above);
  void troubleChanged();
  /// The prompt that ended with the failure is to be sent again.
  void anotherTryRequested(const QString& failure);
  /// The agent is to go on where it was interrupted.
  void goingOnRequested();
  void settled();

 private:
  enum class Side { front, back };
  enum class Opening { asItWasLeft, atEnd, again };
  /// What was not seen when the conversation was opened.
  struct UnreadItems {
    ConversationItemId first;
    std::int64_t position = 0;
    bool wasVisible = false;
  };
  /// Whether what is visible stays where it stands when its items are read.
  enum class Stays { no, yes };

  awaitable<void> findPlaces(ShownWords words, Turns::Turn turn);
  void showFound(FoundWords found, FindDirection direction);
  void keepUnfolded();
  void foldAgain();
  void placeChangesFrom(const std::string& row);
  int placeIn(const TranscriptRow& row) const;

  void work();
  /// What the reader does not wait for.
  void workSoon();
  awaitable<void> workOff();
  /// Takes out of the job what was done.
  awaitable<void> doNext(TranscriptWork& job, Turns::Turn turn);
  awaitable<void> open(std::optional<ConversationItemId> target, Opening opening, Turns::Turn turn);
  /// In place of all items.
  awaitable<void> show(TranscriptPart part, std::optional<ConversationItemId> target, Stays stays, Turns::Turn turn);
  /// `position` where it is known, with that of the others.
  awaitable<void> readAround(ConversationItemId target, std::optional<std::int64_t> position, Turns::Turn turn);
  awaitable<void> readPlace(double place, Turns::Turn turn);
  awaitable<void> readSummary(Turns::Turn turn);
  awaitable<std::optional<UnreadItems>> readUnread(ConversationId conversation);
  /// Whether the view goes along with the end, and nothing in it would be lost by going there at once.
  bool canSkip() const;
  awaitable<void> readBehind(Turns::Turn turn);
  awaitable<void> settleGrowth(std::deque<ConversationItemId>& inserted, Turns::Turn turn);
  /// Forgets what grows in a conversation that is left before it was known which of it is stored.
  void leaveGrowth(const TranscriptWork& undone, ConversationId conversation);
  awaitable<void> readPage(PageDirection direction, Turns::Turn turn);
  awaitable<void> readItem(ConversationItemId id, Turns::Turn turn);
  awaitable<void> readInvocation(ToolInvocationId id, Turns::Turn turn);
  awaitable<void> readTexts(ToolInvocationId id, Turns::Turn turn);
  awaitable<void> markSeen(Turns::Turn turn);
  awaitable<void> findPrompt(ConversationItemId from, int direction);
  awaitable<void> putSelectionOnClipboard();
  awaitable<void> putRecordOnClipboard(ConversationItemId item);
  awaitable<std::vector<ShownItem>> prepared(std::vector<ConversationItem> items);

  void follow(StoreChanges& changes);
  void add(std::vector<ShownItem> items, Side side);
  void replaceAll(std::vector<ShownItem> items);
  /// Under the keys that those have which are shown.
  void replaceItems(std::vector<ShownItem> items);
  void makeRows(ShownItem& item);
  void makeAllRows();
  void addPieces(const TranscriptRow& row);
  ItemFolds& foldsOf(ConversationItemId item);
  /// Of the row's item, or of the text that grows.
  ItemFolds& foldsAt(const TranscriptRow& row);
  struct Return {
    int row = 0;
    double above = 0;
  };
  /// Where the reader comes back to; nothing for who is at the end.
  std::optional<Return> returnOfReader() const;
  void keepOpenTexts(const ConversationItem& item);
  void keepReading();
  void setTrouble(const QString& words);
  ShownItem* find(ConversationItemId item);
  std::optional<std::size_t> rowOf(ConversationItemId item) const;
  ConversationItemId itemAt(int row) const;
  /// In items of the whole conversation, where the part of the row ends, as if its item's rows were equally high.
  double placeWithin(int row, double part) const;
  void setSelected(const ItemSelection& selected);
  bool isSelected(const TranscriptRow& row) const;
  /// As it came so far; empty where nothing grows.
  QString growingTextAt(int row) const;
  /// What is visible, by the positions of its ends.
  void lookForUnread(std::int64_t first, std::int64_t last);

  bool canLeave(Side side) const;
  /// Rows of items of which nothing is visible.
  std::size_t hiddenRows() const;
  /// Rows leave at the side where they can, else at the other.
  void trim(Side side);
  /// The rows as they are to be.
  std::vector<TranscriptRow> wantedRows();
  /// Whether nothing is before the item but the prompt that it answers: then all is new.
  bool isOnlyBehindPrompt(std::size_t index) const;
  void addLiveRows(std::vector<TranscriptRow>& rows);
  void addText(std::vector<TranscriptRow>& rows, const GrowingText& text, Growing growing);
  awaitable<void> parse(GrowingText text, ItemFolds folds, Growing growing);
  void markEnd(std::vector<TranscriptRow>& rows) const;
  /// Announces what differs.
  void update();
  void tick();

  Application& application_;
  std::shared_ptr<TranscriptReader> reader_;
  LiveTexts live_;
  std::optional<ConversationId> shown_;
  Turns turns_;

  std::deque<ShownItem> items_;
  std::vector<TranscriptRow> rows_;
  std::int64_t first_ = 0;  ///< position of the first of `items_` among all
  std::int64_t count_ = 0;
  bool isAtEnd_ = true;
  bool isOpened_ = false;
  std::optional<ConversationSummary> summary_;
  std::string projectFolder_;
  QString agent_;

  Reading reading_;
  ReadingPlaces places_;
  QTimer keeping_;
  QString trouble_;
  std::map<ToolInvocationId, CallTexts> callTexts_;
  bool isReasoningOpen_ = false;
  /// What the reader opened in texts that grow, by their keys.
  std::map<std::string, ItemFolds> growingFolds_;
  /// The rows of a text that grows, as long and as unfolded as it was when they were made.
  struct ParsedText {
    std::size_t size = 0;
    ItemFolds folds = {};
    std::vector<TranscriptRow> rows = {};
    bool isUnderWay = false;
  };
  /// Of long ones, by their keys.
  std::map<std::string, ParsedText> parsed_;
  /// Stored messages that took the place of what grew before they were announced.
  std::set<ConversationItemId> replacing_;
  ItemSelection selected_;
  /// The first and the last item that is visible, the default where it is none that is stored.
  std::optional<std::pair<ConversationItemId, ConversationItemId>> visible_;
  double place_ = 0;
  double extent_ = 1;
  QString markedText_;
  std::optional<FoundPlaces> found_;

  bool isLookedAt_ = false;
  bool wasAway_ = true;
  std::int64_t seenCount_ = 0;
  std::optional<ConversationItemId> seenUpTo_;
  std::optional<UnreadItems> unread_;
  int unreadAbove_ = 0;

  TranscriptWork work_;
  bool isWorking_ = false;
  Pace pace_;
  QTimer rest_;
  QTimer growth_;
  QTimer clock_;
  QTimer seen_;
};

}  // namespace ravant::desktop
