#include <algorithm>
#include <ranges>

#include "core/overloaded.hpp"
#include "core/store/project_store.hpp"
#include "desktop/conversation/transcript_window.hpp"
#include "desktop/program/sentence.hpp"
#include "platform/async/on_pool.hpp"

namespace ravant::desktop {
namespace {

/// Bytes of Markdown in what is read at once: more is not read on the interface thread.
constexpr std::size_t kMostReadHere = 100 * 1000;

}  // namespace

void TranscriptWindow::setTrouble(const QString& words) {
  if (std::exchange(trouble_, words) != words) Q_EMIT troubleChanged();
}

void TranscriptWindow::work() {
  if (!isWorking_ && shown_ && !work_.isNone()) {
    isWorking_ = true;
    rest_.stop();
    start(workOff());
  }
}

void TranscriptWindow::workSoon() {
  if (isWorking_ || rest_.isActive()) return;
  if (const auto rest = pace_.rest(); rest.count() > 0) {
    rest_.start(rest);
  } else {
    work();
  }
}

awaitable<void> TranscriptWindow::workOff() {
  std::optional<ConversationId> begun;
  bool hasFailed = false;
  pace_.begin();
  while (shown_ && !work_.isNone() && (begun != shown_ || work_.isAwaited())) {
    begun = shown_;
    TranscriptWork job = std::exchange(work_, {});
    const auto turn = turns_.take();
    std::optional<std::string> trouble;
    try {
      co_await doNext(job, turn);
    } catch (const std::exception& error) {
      trouble = error.what();
    }
    if (!turns_.isLatest(turn)) {
      leaveGrowth(job, *begun);
      continue;
    }
    setTrouble(trouble ? sentence(tr("This cannot be read: %1").arg(QString::fromStdString(*trouble))) : QString());
    if (!trouble) continue;
    job.add(std::exchange(work_, {}));
    work_ = std::move(job);
    hasFailed = true;
    break;
  }
  isWorking_ = false;
  if (shown_ && !work_.isNone() && !hasFailed) workSoon();
  if (isSettled()) Q_EMIT settled();
}

awaitable<void> TranscriptWindow::doNext(TranscriptWork& job, Turns::Turn turn) {
  if (job.opens || job.isReadAgain) {
    const Opening opening = !job.opens ? Opening::again : job.isEndWanted ? Opening::atEnd : Opening::asItWasLeft;
    co_await open(job.opens ? job.around : std::nullopt, opening, turn);
    if (!turns_.isLatest(turn)) co_return;
    if (job.opens) job.around.reset();
    job.opens = job.isReadAgain = job.isEndWanted = false;
    // All of it was read.
    job.isBehindRead = job.isSummaryRead = job.isOlderRead = job.isNewerRead = false;
    job.items.clear();
    job.invocations.clear();
  }
  if (!isOpened_) co_return;
  if (job.isBehindRead && isAtEnd_) {
    co_await readBehind(turn);
    // Where the end went out of what is shown, what stands behind is counted below.
    if (turns_.isLatest(turn)) job.isBehindRead = !isAtEnd_;
  }
  if (turns_.isLatest(turn)) co_await settleGrowth(job.inserted, turn);
  while (turns_.isLatest(turn) && !job.items.empty()) {
    co_await readItem(*job.items.begin(), turn);
    job.items.erase(job.items.begin());
  }
  while (turns_.isLatest(turn) && !job.invocations.empty()) {
    co_await readInvocation(*job.invocations.begin(), turn);
    job.invocations.erase(job.invocations.begin());
  }
  while (turns_.isLatest(turn) && !job.texts.empty()) {
    co_await readTexts(*job.texts.begin(), turn);
    job.texts.erase(job.texts.begin());
  }
  if (turns_.isLatest(turn) && job.isBehindRead && !isAtEnd_) {
    const std::int64_t count = co_await alive(reader_->count(*shown_));
    if (turns_.isLatest(turn)) count_ = count;
    job.isBehindRead = false;
  }
  if (turns_.isLatest(turn) && job.isSummaryRead) {
    co_await readSummary(turn);
    job.isSummaryRead = false;
  }
  if (turns_.isLatest(turn) && std::exchange(job.isRunOver, false)) {
    live_.drop(*shown_);
    isReasoningOpen_ = false;
  }
  if (turns_.isLatest(turn) && job.isOlderRead) {
    co_await readPage(PageDirection::before, turn);
    job.isOlderRead = false;
  }
  if (turns_.isLatest(turn) && job.isNewerRead) {
    co_await readPage(PageDirection::after, turn);
    job.isNewerRead = false;
  }
  if (turns_.isLatest(turn)) update();
  if (turns_.isLatest(turn) && job.around) {
    co_await readAround(*job.around, {}, turn);
    job.around.reset();
  }
  if (turns_.isLatest(turn) && job.words) {
    co_await findPlaces(*job.words, turn);
    job.words.reset();
  }
  if (turns_.isLatest(turn) && job.place) {
    co_await readPlace(*job.place, turn);
    job.place.reset();
  }
  if (turns_.isLatest(turn) && job.isSeen) {
    co_await markSeen(turn);
    job.isSeen = false;
  }
}

awaitable<std::vector<ShownItem>> TranscriptWindow::prepared(std::vector<ConversationItem> items) {
  for (const ConversationItem& item : items) keepOpenTexts(item);
  const auto prepare = [folder = projectFolder_](std::vector<ConversationItem> read) {
    std::vector<ShownItem> made;
    for (ConversationItem& item : read) made.push_back(shownItem(std::move(item), folder));
    return made;
  };
  std::size_t size = 0;
  for (const ConversationItem& item : items) {
    size += item.text.size();
    if (const auto* group = std::get_if<ToolInvocationGroup>(&item.detail)) {
      size += group->invocations.size() * 1000;
    }
  }
  if (size < kMostReadHere) co_return prepare(std::move(items));
  const auto shared = std::make_shared<std::vector<ConversationItem>>(std::move(items));
  co_return co_await alive(
      onPool(application_.modelContainer()->work(), [shared, prepare] { return prepare(std::move(*shared)); }));
}

awaitable<void> TranscriptWindow::open(std::optional<ConversationItemId> target, Opening opening, Turns::Turn turn) {
  Stays stays = opening == Opening::again ? Stays::yes : Stays::no;
  const ConversationId conversation = *shown_;
  co_await readSummary(turn);
  if (!turns_.isLatest(turn)) co_return;
  const bool isFirstTime = !isOpened_;
  if (isFirstTime) {
    Reading kept = co_await alive(places_.of(conversation));
    if (!turns_.isLatest(turn)) co_return;
    reading_ = std::move(kept);
  }
  std::optional<UnreadItems> unread = unread_;
  if (!unread) unread = co_await readUnread(conversation);
  if (!turns_.isLatest(turn)) co_return;
  const bool returns =
      !target && opening != Opening::atEnd && reading_.place && reading_.place->item != ConversationItemId();
  const std::optional<ConversationItemId> shownFirst = returns ? std::optional(reading_.place->item) : target;
  std::optional<TranscriptPart> part;
  if (shownFirst) part = co_await alive(partAround(reader_, conversation, *shownFirst, kJumpItems));
  if (!turns_.isLatest(turn)) co_return;
  if (!part) {
    if (shownFirst || !isAtEnd_) stays = Stays::no;
    part = co_await alive(partAtEnd(reader_, conversation, kOpenedItems));
    target.reset();
  }
  unread_ = unread;
  if (isLookedAt_) wasAway_ = false;
  co_await show(*std::move(part), returns || target ? shownFirst : std::nullopt, stays, turn);
  if (!turns_.isLatest(turn)) co_return;
  if (stays == Stays::yes) {
    work_.isOlderRead = first_ > 0;
    work_.isNewerRead = !isAtEnd_;
    co_return;
  }
  if (opening == Opening::atEnd) reading_.place.reset();
  if (isFirstTime) seenCount_ = unread ? unread->position : count_;
  if (const auto row = target ? rowOf(*target) : std::nullopt) {
    Q_EMIT jumped(static_cast<int>(*row));
  } else if (const auto place = target ? std::nullopt : returnOfReader()) {
    Q_EMIT returned(place->row, place->above);
  } else {
    Q_EMIT jumped(-1);
  }
}

awaitable<std::optional<TranscriptWindow::UnreadItems>> TranscriptWindow::readUnread(ConversationId conversation) {
  const auto first = co_await alive(application_.conversations().firstUnread(conversation));
  if (!first) co_return std::nullopt;
  const auto position = co_await alive(reader_->position(*first));
  co_return UnreadItems{.first = *first, .position = position.value_or(0)};
}

awaitable<void> TranscriptWindow::readSummary(Turns::Turn turn) {
  auto summary = co_await alive(application_.conversations().conversation(*shown_));
  if (!turns_.isLatest(turn)) co_return;
  const bool isOtherProject = summary && (!summary_ || summary_->conversation.project != summary->conversation.project);
  if (isOtherProject) {
    const auto projects = co_await alive(application_.projects().projects());
    if (!turns_.isLatest(turn)) co_return;
    const auto project = std::ranges::find(projects, summary->conversation.project, &Project::id);
    if (project != projects.end()) projectFolder_ = project->path;
  }
  summary_ = std::move(summary);
  const QString agent =
      summary_ && summary_->agentType ? desktop::shown(displayName(*summary_->agentType)) : tr("Agent");
  if (std::exchange(agent_, agent) != agent) makeAllRows();
}

awaitable<void> TranscriptWindow::readPage(PageDirection direction, Turns::Turn turn) {
  const bool isOlder = direction == PageDirection::before;
  if (items_.empty() || (isOlder ? first_ == 0 : isAtEnd_)) co_return;
  const ConversationItemId anchor = isOlder ? items_.front().item.id : items_.back().item.id;
  auto items = co_await alive(reader_->page(*shown_, anchor, direction, kPageItems));
  if (!turns_.isLatest(turn)) co_return;
  auto made = co_await prepared(std::move(items));
  if (!turns_.isLatest(turn)) co_return;
  if (isOlder) {
    add(std::move(made), Side::front);
  } else if (made.empty()) {
    isAtEnd_ = true;
  } else {
    add(std::move(made), Side::back);
    if (first_ + static_cast<std::int64_t>(items_.size()) >= count_) work_.isNewerRead = true;
  }
}

awaitable<void> TranscriptWindow::readAround(ConversationItemId target, std::optional<std::int64_t> position,
                                             Turns::Turn turn) {
  if (const auto row = rowOf(target)) {
    Q_EMIT jumped(static_cast<int>(*row));
    co_return;
  }
  const auto known = position ? std::optional(PlaceAmongAll{.position = *position, .count = count_}) : std::nullopt;
  auto part = co_await alive(partAround(reader_, *shown_, target, kJumpItems, known));
  if (!turns_.isLatest(turn) || !part) co_return;
  co_await show(*std::move(part), target, Stays::no, turn);
  if (!turns_.isLatest(turn)) co_return;
  if (const auto row = rowOf(target)) Q_EMIT jumped(static_cast<int>(*row));
}

awaitable<void> TranscriptWindow::show(TranscriptPart part, std::optional<ConversationItemId> target, Stays stays,
                                       Turns::Turn turn) {
  auto made = co_await prepared(std::move(part.items));
  if (!turns_.isLatest(turn)) co_return;
  first_ = part.first;
  count_ = part.count;
  isAtEnd_ = part.isAtEnd;
  isOpened_ = true;
  stays == Stays::yes ? replaceItems(std::move(made)) : replaceAll(std::move(made));
  if (target && stays == Stays::no) visible_ = {*target, *target};
  trim(Side::front);
  update();
}

awaitable<void> TranscriptWindow::readPlace(double place, Turns::Turn turn) {
  if (count_ == 0) co_return;
  const auto wanted =
      std::clamp(static_cast<std::int64_t>(place * static_cast<double>(count_)), std::int64_t{0}, count_ - 1);
  // The item at the place is the last of those that are followed by the others.
  const auto target = co_await alive(reader_->beforeLast(*shown_, count_ - wanted - 1));
  if (turns_.isLatest(turn) && target) co_await readAround(*target, wanted, turn);
}

awaitable<void> TranscriptWindow::findPrompt(ConversationItemId from, int direction) {
  if (!shown_) co_return;
  const ConversationId conversation = *shown_;
  std::optional<ConversationItemId> target;
  if (direction < 0) {
    std::optional<ConversationItemId> start = from == ConversationItemId() ? std::nullopt : std::optional(from);
    auto prompt = start ? co_await alive(reader_->promptOf(*start)) : std::nullopt;
    if (!start || (prompt && prompt->id == from)) {
      const auto before = co_await alive(reader_->page(conversation, start, PageDirection::before, 1));
      if (before.empty()) co_return;
      prompt = co_await alive(reader_->promptOf(before.back().id));
    }
    if (prompt) target = prompt->id;
  } else {
    for (std::optional anchor = from; anchor && !target;) {
      const auto page = co_await alive(reader_->page(conversation, anchor, PageDirection::after, kPageItems));
      anchor = page.empty() ? std::nullopt : std::optional(page.back().id);
      const auto prompt = std::ranges::find(page, ConversationItemKind::userMessage, kindOf);
      if (prompt != page.end()) target = prompt->id;
    }
  }
  if (target && shown_ == conversation) jumpToItem(textOf(*target));
}

}  // namespace ravant::desktop
