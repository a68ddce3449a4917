#include "desktop/composer/draft_keeper.hpp"

#include <algorithm>
#include <chrono>

#include "desktop/composer/attachments.hpp"

namespace ravant::desktop {
namespace {

constexpr std::chrono::milliseconds kDelay(300);
constexpr std::chrono::milliseconds kNextTry(2000);

}  // namespace

DraftKeeper::DraftKeeper(std::shared_ptr<PromptSender> sender, StoreChanges& changes) : sender_(std::move(sender)) {
  delay_.setSingleShot(true);
  connect(&delay_, &QTimer::timeout, this, &DraftKeeper::writeSoon);
  const auto changed = [this](const DraftPlace& place) {
    if (place == place_) refresh();
  };
  connect(&changes, &StoreChanges::conversationChanged, this, changed);
  connect(&changes, &StoreChanges::projectChanged, this, changed);
  connect(&changes, &StoreChanges::everythingChanged, this, &DraftKeeper::refresh);
}

DraftKeeper::~DraftKeeper() { writeNow(); }

void DraftKeeper::open(std::optional<DraftPlace> place) {
  writeNow();
  place_ = place;
  text_.clear();
  isRead_ = false;
  turns_.take();
  refresh();
}

void DraftKeeper::typed(std::string text) {
  text_ = std::move(text);
  isTouched_ = place_.has_value();
  if (isTouched_ && !delay_.isActive()) delay_.start(kDelay);
}

void DraftKeeper::handOver() {
  // What stood there unread is a prompt of its own.
  if (isRead_) writeNow();
  isTouched_ = false;
  delay_.stop();
  text_.clear();
}

void DraftKeeper::writeSoon() {
  if (isRead_) return writeNow();
  refresh();
}

void DraftKeeper::writeNow() {
  delay_.stop();
  if (!std::exchange(isTouched_, false) || !place_) return;
  turns_.take();
  written_.push_back(*place_);
  InterfaceLoop::instance().spawn(write(sender_, *place_, text_, std::exchange(isRead_, true), this));
}

awaitable<void> DraftKeeper::write(std::shared_ptr<PromptSender> sender, DraftPlace place, std::string text,
                                   bool isRead, QPointer<DraftKeeper> self) {
  try {
    if (!isRead) {
      const auto stored = co_await sender->drafts().draft(place);
      if (stored && *stored != text && !sender->isUnderWay(place, *stored)) text = joined(*stored, text);
    }
    co_await sender->drafts().keep(place, std::move(text));
    if (self) self->isWritten(place);
  } catch (const std::exception&) {
    if (self) self->writeFailed(place, isRead);
    throw;
  }
}

void DraftKeeper::isWritten(const DraftPlace& place) {
  written_.erase(std::ranges::find(written_, place));
  if (place == place_) refresh();
}

void DraftKeeper::writeFailed(const DraftPlace& place, bool wasRead) {
  isWritten(place);
  if (place != place_) return;
  isTouched_ = true;
  isRead_ = isRead_ && wasRead;
  delay_.start(kNextTry);
}

void DraftKeeper::refresh() {
  if (place_ && rereading_.want()) start(readUntilCurrent());
}

awaitable<void> DraftKeeper::readUntilCurrent() {
  while (rereading_.goOn()) {
    try {
      if (place_) co_await read();
    } catch (const std::exception&) {
      if (!isRead_ && isTouched_) delay_.start(kNextTry);
      if (rereading_.giveUp()) throw;
    }
  }
}

awaitable<void> DraftKeeper::read() {
  const auto turn = turns_.take();
  const DraftPlace place = *place_;
  const auto stored = co_await alive(sender_->drafts().draft(place));
  // What is being written is newer than what is stored.
  if (!turns_.isLatest(turn) || std::ranges::find(written_, place) != written_.end()) co_return;
  const bool isFirst = !std::exchange(isRead_, true);
  if (isTouched_ && !delay_.isActive()) delay_.start(kDelay);
  std::string text = stored.value_or("");
  if (text == text_ || sender_->isUnderWay(place, text)) co_return;
  if (isTouched_ && (!isFirst || text.empty())) co_return;
  if (isTouched_) text = joined(text, text_);  // typed before the draft was there
  text_ = text;
  Q_EMIT arrived(QString::fromStdString(text));
}

}  // namespace ravant::desktop
