#include <algorithm>
#include <ranges>

#include "core/overloaded.hpp"
#include "core/store/project_store.hpp"
#include "desktop/conversation/transcript_window.hpp"
#include "platform/async/on_pool.hpp"

namespace ravant::desktop {
namespace {

/// Bytes of Markdown in what is read at once: more is not read on the interface thread.
constexpr std::size_t kMostReadHere = 100 * 1000;

}  // namespace

bool TranscriptWindow::Work::isNone() const {
  return !opens && !around && !place && !words && !isBehindRead && inserted.empty() && !isSummaryRead && !isRunOver &&
         items.empty() && invocations.empty() && texts.empty() && !isOlderRead && !isNewerRead && !isSeen;
}

void TranscriptWindow::work() {
  if (!isWorking_ && shown_ && !work_.isNone()) {
    isWorking_ = true;
    start(workOff());
  }
}

awaitable<void> TranscriptWindow::workOff() {
  while (shown_ && !work_.isNone()) {
    std::optional<std::string> trouble;
    try {
      co_await doNext(std::exchange(work_, {}));
    } catch (const std::exception& error) {
      trouble = error.what();
    }
    if (trouble) DesktopWindow::instance().notices()->tellError(QString::fromStdString(*trouble));
  }
  isWorking_ = false;
  if (isSettled()) Q_EMIT settled();
}

awaitable<void> TranscriptWindow::doNext(Work job) {
  const auto turn = turns_.take();
  if (job.opens) {
    co_await open(turn);
    if (turns_.isLatest(turn)) co_await settleGrowth(std::move(job.inserted), turn);
    if (turns_.isLatest(turn) && job.isRunOver) live_.drop(*shown_);
    if (turns_.isLatest(turn)) update();
    if (turns_.isLatest(turn) && job.around) co_await readAround(*job.around, turn);
    if (turns_.isLatest(turn) && job.words) co_await findPlaces(*job.words, turn);
    co_return;
  }
  if (!isOpened_) co_return;
  if (job.isBehindRead && isAtEnd_) co_await readBehind(turn);
  if (turns_.isLatest(turn)) co_await settleGrowth(std::move(job.inserted), turn);
  for (const ConversationItemId item : job.items) {
    if (turns_.isLatest(turn)) co_await readItem(item, turn);
  }
  for (const ToolInvocationId invocation : job.invocations) {
    if (turns_.isLatest(turn)) co_await readInvocation(invocation, turn);
  }
  for (const ToolInvocationId invocation : job.texts) {
    if (turns_.isLatest(turn)) co_await readTexts(invocation, turn);
  }
  if (turns_.isLatest(turn) && job.isBehindRead && !isAtEnd_) {
    const std::int64_t count = co_await alive(application_.transcripts().count(*shown_));
    if (turns_.isLatest(turn)) count_ = count;
  }
  if (turns_.isLatest(turn) && job.isSummaryRead) co_await readSummary(turn);
  if (turns_.isLatest(turn) && job.isRunOver) {
    live_.drop(*shown_);
    isReasoningOpen_ = false;
  }
  if (turns_.isLatest(turn) && job.isOlderRead) co_await readPage(PageDirection::before, turn);
  if (turns_.isLatest(turn) && job.isNewerRead) co_await readPage(PageDirection::after, turn);
  if (turns_.isLatest(turn)) update();
  if (turns_.isLatest(turn) && job.around) co_await readAround(*job.around, turn);
  if (turns_.isLatest(turn) && job.words) co_await findPlaces(*job.words, turn);
  if (turns_.isLatest(turn) && job.place) co_await readPlace(*job.place, turn);
  if (turns_.isLatest(turn) && job.isSeen) co_await markSeen(turn);
}

awaitable<std::vector<ShownItem>> TranscriptWindow::prepared(std::vector<ConversationItem> items) {
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

awaitable<void> TranscriptWindow::open(Turns::Turn turn) {
  const ConversationId conversation = *shown_;
  co_await readSummary(turn);
  if (!turns_.isLatest(turn)) co_return;
  auto items =
      co_await alive(application_.transcripts().page(conversation, std::nullopt, PageDirection::before, kOpenedItems));
  std::optional<std::int64_t> first = 0;
  if (!items.empty()) first = co_await alive(application_.transcripts().position(items.front().id));
  std::optional<ConversationItemId> unread;
  if (!firstUnread_) unread = co_await alive(application_.conversations().firstUnread(conversation));
  if (!turns_.isLatest(turn)) co_return;
  auto made = co_await prepared(std::move(items));
  if (!turns_.isLatest(turn)) co_return;
  if (unread) firstUnread_ = unread;
  first_ = first.value_or(0);
  isAtEnd_ = isOpened_ = true;
  replaceAll(std::move(made));
  count_ = seenCount_ = first_ + static_cast<std::int64_t>(items_.size());
  trim(Side::front);
  update();
  Q_EMIT jumped(-1);
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

awaitable<void> TranscriptWindow::readBehind(Turns::Turn turn) {
  while (isAtEnd_) {
    const auto anchor = items_.empty() ? std::nullopt : std::optional(items_.back().item.id);
    auto items = co_await alive(application_.transcripts().page(*shown_, anchor, PageDirection::after, kPageItems));
    if (!turns_.isLatest(turn) || items.empty()) co_return;
    auto made = co_await prepared(std::move(items));
    if (!turns_.isLatest(turn)) co_return;
    for (ShownItem& item : made) {
      if (auto text = live_.replacedBy(*shown_, kindOf(item.item))) item.key = std::move(text->key);
      replacing_.insert(item.item.id);
    }
    add(std::move(made), Side::back);
    update();
  }
}

awaitable<void> TranscriptWindow::settleGrowth(std::vector<ConversationItemId> inserted, Turns::Turn turn) {
  for (const ConversationItemId id : inserted) {
    if (replacing_.erase(id) > 0 || !live_.find(*shown_)) continue;
    // It was read with others, or is beyond what is shown: its text does not grow any more.
    std::optional<ConversationItemKind> kind;
    if (const ShownItem* const item = find(id)) {
      kind = kindOf(item->item);
    } else if (const auto read = co_await alive(application_.transcripts().item(id))) {
      kind = kindOf(*read);
    }
    if (!turns_.isLatest(turn)) co_return;
    if (kind) live_.replacedBy(*shown_, *kind);
  }
}

awaitable<void> TranscriptWindow::readPage(PageDirection direction, Turns::Turn turn) {
  const bool isOlder = direction == PageDirection::before;
  if (items_.empty() || (isOlder ? first_ == 0 : isAtEnd_)) co_return;
  const ConversationItemId anchor = isOlder ? items_.front().item.id : items_.back().item.id;
  auto items = co_await alive(application_.transcripts().page(*shown_, anchor, direction, kPageItems));
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

awaitable<void> TranscriptWindow::readAround(ConversationItemId target, Turns::Turn turn) {
  if (const auto row = rowOf(target)) {
    Q_EMIT jumped(static_cast<int>(*row));
    co_return;
  }
  TranscriptReader& reader = application_.transcripts();
  auto item = co_await alive(reader.item(target));
  if (!turns_.isLatest(turn) || !item || item->conversation != *shown_) co_return;
  auto items = co_await alive(reader.page(*shown_, target, PageDirection::before, kJumpItems));
  const auto before = items.size();
  items.push_back(*std::move(item));
  if (!turns_.isLatest(turn)) co_return;
  auto after = co_await alive(reader.page(*shown_, target, PageDirection::after, kJumpItems));
  std::ranges::move(after, std::back_inserter(items));
  const auto position = co_await alive(reader.position(target));
  if (!turns_.isLatest(turn) || !position) co_return;
  const std::int64_t count = co_await alive(reader.count(*shown_));
  if (!turns_.isLatest(turn)) co_return;
  auto made = co_await prepared(std::move(items));
  if (!turns_.isLatest(turn)) co_return;
  first_ = *position - static_cast<std::int64_t>(before);
  count_ = count;
  isAtEnd_ = after.empty() || first_ + static_cast<std::int64_t>(made.size()) >= count;
  replaceAll(std::move(made));
  visible_ = {target, target};
  trim(Side::front);
  update();
  if (const auto row = rowOf(target)) Q_EMIT jumped(static_cast<int>(*row));
}

awaitable<void> TranscriptWindow::readPlace(double place, Turns::Turn turn) {
  TranscriptReader& reader = application_.transcripts();
  const std::int64_t count = co_await alive(reader.count(*shown_));
  if (!turns_.isLatest(turn) || count == 0) co_return;
  const auto wanted = std::clamp(static_cast<std::int64_t>(place * static_cast<double>(count)), std::int64_t{0}, count);
  // The item at the place is the last of those that are followed by the others.
  const auto target = co_await alive(reader.beforeLast(*shown_, std::max<std::int64_t>(count - wanted - 1, 0)));
  if (turns_.isLatest(turn) && target) co_await readAround(*target, turn);
}

awaitable<void> TranscriptWindow::readItem(ConversationItemId id, Turns::Turn turn) {
  auto item = co_await alive(application_.transcripts().item(id));
  if (!turns_.isLatest(turn)) co_return;
  if (!item || item->conversation != *shown_) {
    if (std::erase_if(items_, [&](const ShownItem& each) { return each.item.id == id; }) > 0) --count_;
    if (items_.empty()) {
      work_.opens = true;
      co_return;
    }
    const auto first = co_await alive(application_.transcripts().position(items_.front().item.id));
    if (turns_.isLatest(turn) && first) first_ = *first;
    co_return;
  }
  if (!find(id)) co_return;
  std::vector<ConversationItem> read;
  read.push_back(*std::move(item));
  auto made = co_await prepared(std::move(read));
  ShownItem* const shownItem = find(id);
  if (!turns_.isLatest(turn) || !shownItem) co_return;
  made.front().key = std::move(shownItem->key);
  *shownItem = std::move(made.front());
  makeRows(*shownItem);
  if (kindOf(shownItem->item) == ConversationItemKind::userMessage) co_await readSummary(turn);
}

awaitable<void> TranscriptWindow::readInvocation(ToolInvocationId id, Turns::Turn turn) {
  auto invocation = co_await alive(application_.transcripts().invocation(id));
  if (!turns_.isLatest(turn) || !invocation) co_return;
  ShownItem* const group = find(invocation->parentGroup);
  if (!group || kindOf(group->item) != ConversationItemKind::toolInvocationGroup) co_return;
  if (const auto texts = callTexts_.find(id); texts != callTexts_.end()) {
    texts->second = {.input = invocation->input.value_or(""), .output = invocation->output.value_or("")};
  }
  group->setInvocation(*std::move(invocation), projectFolder_);
  makeRows(*group);
}

awaitable<void> TranscriptWindow::readTexts(ToolInvocationId id, Turns::Turn turn) {
  auto invocation = co_await alive(application_.transcripts().invocation(id));
  if (!turns_.isLatest(turn) || !invocation) co_return;
  callTexts_[id] = {.input = invocation->input.value_or(""), .output = invocation->output.value_or("")};
  if (ShownItem* const group = find(invocation->parentGroup)) makeRows(*group);
}

awaitable<void> TranscriptWindow::markSeen(Turns::Turn turn) {
  if (!isLookedAt_ || !isAtEnd_ || items_.empty()) co_return;
  seenCount_ = count_;
  Q_EMIT shownChanged();
  const ConversationItemId last = items_.back().item.id;
  if (seenUpTo_ == last) co_return;
  const bool wasAway = std::exchange(wasAway_, false);
  seenUpTo_ = last;
  if (wasAway && !firstUnread_) {
    const auto unread = co_await alive(application_.conversations().firstUnread(*shown_));
    if (!turns_.isLatest(turn)) co_return;
    firstUnread_ = unread;
    update();
  }
  co_await alive(application_.conversations().markSeen(*shown_, last));
}

awaitable<void> TranscriptWindow::findPrompt(ConversationItemId from, int direction) {
  if (!shown_) co_return;
  const ConversationId conversation = *shown_;
  TranscriptReader& reader = application_.transcripts();
  std::optional<ConversationItemId> target;
  if (direction < 0) {
    std::optional<ConversationItemId> start = from == ConversationItemId() ? std::nullopt : std::optional(from);
    auto prompt = start ? co_await alive(reader.promptOf(*start)) : std::nullopt;
    if (!start || (prompt && prompt->id == from)) {
      const auto before = co_await alive(reader.page(conversation, start, PageDirection::before, 1));
      if (before.empty()) co_return;
      prompt = co_await alive(reader.promptOf(before.back().id));
    }
    if (prompt) target = prompt->id;
  } else {
    for (std::optional anchor = from; anchor && !target;) {
      const auto page = co_await alive(reader.page(conversation, anchor, PageDirection::after, kPageItems));
      anchor = page.empty() ? std::nullopt : std::optional(page.back().id);
      const auto prompt = std::ranges::find(page, ConversationItemKind::userMessage, kindOf);
      if (prompt != page.end()) target = prompt->id;
    }
  }
  if (target && shown_ == conversation) jumpToItem(textOf(*target));
}

}  // namespace ravant::desktop
