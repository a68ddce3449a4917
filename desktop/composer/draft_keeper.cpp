#include "desktop/composer/draft_keeper.hpp"

#include <algorithm>
#include <chrono>

#include "desktop/composer/attachments.hpp"

namespace ravant::desktop {
namespace {

constexpr std::chrono::milliseconds kDelay(300);
constexpr std::chrono::milliseconds kLongDelay(3000);
constexpr std::chrono::milliseconds kNextTry(2000);
constexpr std::chrono::milliseconds kRest(500);

std::chrono::milliseconds paceOf(const std::string& text) {
  return text.size() > ComposedPrompt::kMostWords ? kLongDelay : kDelay;
}

}  // namespace

DraftKeeper::DraftKeeper(std::shared_ptr<PromptSender> sender, StoreChanges& changes, std::function<std::string()> text)
    : sender_(std::move(sender)),
      text_(std::move(text)),
      rereading_(*this, [this] { return readOrTryAgain(); }, kRest) {
  delay_.setSingleShot(true);
  connect(&delay_, &QTimer::timeout, this, &DraftKeeper::writeSoon);
  const auto changed = [this](const DraftPlace& place) {
    if (place == place_) rereading_.soon();
  };
  connect(&changes, &StoreChanges::conversationChanged, this, changed);
  connect(&changes, &StoreChanges::projectChanged, this, changed);
  connect(&changes, &StoreChanges::everythingChanged, this, [this] { rereading_.soon(); });
}

void DraftKeeper::open(std::optional<DraftPlace> place) {
  writeNow();
  place_ = place;
  before_ = std::make_shared<Before>();
  shown_.reset();
  hasWritten_ = false;
  pace_ = kDelay;
  turns_.take();
  rereading_.now();
}

void DraftKeeper::typed() {
  shown_.reset();
  isTouched_ = place_.has_value();
  if (isTouched_ && !delay_.isActive()) delay_.start(pace_);
}

void DraftKeeper::handOver() {
  // What stood there unread is a prompt of its own.
  if (!before_) writeNow();
  delay_.stop();
  shown_.reset();
  isTouched_ = false;
  hasWritten_ = false;
}

void DraftKeeper::moveAway() {
  delay_.stop();
  isTouched_ = hasWritten_;
}

void DraftKeeper::writeSoon() {
  if (!before_) return writeNow();
  rereading_.now();
}

void DraftKeeper::writeNow() {
  delay_.stop();
  if (!std::exchange(isTouched_, false) || !place_) return;
  hasWritten_ = true;
  written_.push_back(*place_);
  std::string text = text_();
  pace_ = paceOf(text);
  InterfaceLoop::instance().spawn(write(sender_, *place_, std::move(text), before_, this));
}

awaitable<void> DraftKeeper::write(std::shared_ptr<PromptSender> sender, DraftPlace place, std::string text,
                                   std::shared_ptr<Before> before, QPointer<DraftKeeper> self) {
  try {
    if (before && !before->text) {
      const auto stored = co_await sender->drafts().draft(place);
      const bool isDraft = stored && *stored != text && !sender->isUnderWay(place, *stored);
      if (!before->text) before->text = isDraft ? *stored : std::string();
    }
    if (before && !before->text->empty()) text = joined(*before->text, text);
    co_await sender->drafts().keep(place, std::move(text));
    if (self) self->isWritten(place, before);
  } catch (const std::exception&) {
    if (before) before->text.reset();
    if (self) self->writeFailed(place);
    throw;
  }
}

void DraftKeeper::isWritten(const DraftPlace& place, const std::shared_ptr<Before>& before) {
  written_.erase(std::ranges::find(written_, place));
  if (place != place_) return;
  if (before && before == before_) {
    before_.reset();
    putInFront(*before->text);
  }
  rereading_.soon();
}

void DraftKeeper::writeFailed(const DraftPlace& place) {
  written_.erase(std::ranges::find(written_, place));
  if (place != place_) return;
  isTouched_ = true;
  delay_.start(kNextTry);
}

awaitable<void> DraftKeeper::readOrTryAgain() {
  try {
    co_await read();
  } catch (const std::exception&) {
    if (before_ && isTouched_) delay_.start(kNextTry);
    throw;
  }
}

awaitable<void> DraftKeeper::read() {
  if (!place_) co_return;
  const auto turn = turns_.take();
  const DraftPlace place = *place_;
  const auto stored = co_await alive(sender_->drafts().draft(place));
  // What is being written is newer than what is stored.
  if (!turns_.isLatest(turn) || std::ranges::find(written_, place) != written_.end()) co_return;
  const bool isFirst = std::exchange(before_, nullptr) != nullptr;
  const std::string text = stored.value_or("");
  pace_ = paceOf(text);
  if (isTouched_ && !delay_.isActive()) delay_.start(pace_);
  if (text == shown_ || sender_->isUnderWay(place, text)) co_return;
  if (const std::string held = text_(); text == held) co_return;
  if (isTouched_) {
    if (isFirst) putInFront(text);  // typed before the draft was there
    co_return;
  }
  shown_ = text;
  Q_EMIT arrived(text);
}

void DraftKeeper::putInFront(const std::string& before) {
  if (before.empty()) return;
  Q_EMIT arrived(joined(before, text_()));
  typed();
}

}  // namespace ravant::desktop
