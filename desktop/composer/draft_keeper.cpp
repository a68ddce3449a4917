#include "desktop/composer/draft_keeper.hpp"

#include <algorithm>
#include <chrono>

#include "desktop/composer/attachments.hpp"
#include "desktop/program/desktop_window.hpp"

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
  ++opening_;
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
  Writing writing{.place = *place_, .text = text_(), .before = before_, .opening = opening_};
  pace_ = paceOf(writing.text);
  begin(std::move(writing));
}

void DraftKeeper::begin(Writing writing) {
  written_.push_back(writing.place);
  InterfaceLoop::instance().spawn(write(sender_, std::move(writing), this));
}

awaitable<void> DraftKeeper::write(std::shared_ptr<PromptSender> sender, Writing writing, QPointer<DraftKeeper> self) {
  const auto& [place, text, before, opening] = writing;
  try {
    if (before && !before->text) {
      const auto stored = co_await sender->drafts().draft(place);
      const bool isDraft = stored && *stored != text && !sender->isUnderWay(place, *stored);
      if (!before->text) before->text = isDraft ? *stored : std::string();
    }
    const std::string front = before ? *before->text : std::string();
    co_await sender->drafts().keep(place, front.empty() ? text : joined(front, text));
    if (self) self->isWritten(place, before, front);
  } catch (const std::exception& error) {
    const bool isNews = !self || self->isNews(error);
    if (self) self->writeFailed(std::move(writing));
    if (isNews) throw;
  }
}

void DraftKeeper::isWritten(const DraftPlace& place, const std::shared_ptr<Before>& before, const std::string& front) {
  written_.erase(std::ranges::find(written_, place));
  withdrawFault();
  if (place != place_) return;
  if (before && before == before_) {
    before_.reset();
    putInFront(front);
  }
  rereading_.soon();
}

void DraftKeeper::withdrawFault() {
  const std::string told = std::exchange(faultTold_, {});
  DesktopWindow* const window = DesktopWindow::present();
  if (window && !told.empty()) window->notices()->withdrawError(QString::fromStdString(told));
}

void DraftKeeper::writeFailed(Writing writing) {
  written_.erase(std::ranges::find(written_, writing.place));
  if (writing.opening == opening_) {
    isTouched_ = true;
    delay_.start(kNextTry);
  } else if (writing.place == place_) {
    if (!writing.before) before_.reset();
    putInFront(writing.text);
  } else {
    QTimer::singleShot(kNextTry, this, [this, writing = std::move(writing)] { begin(writing); });
  }
}

awaitable<void> DraftKeeper::readOrTryAgain() {
  try {
    co_await read();
  } catch (const std::exception& error) {
    if (before_ && isTouched_) delay_.start(kNextTry);
    if (isNews(error)) throw;
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
