#include "desktop/composer/draft_keeper.hpp"

#include <chrono>

namespace ravant::desktop {
namespace {

constexpr std::chrono::milliseconds kDelay(300);

awaitable<void> keep(std::shared_ptr<PromptSender> sender, DraftPlace place, std::string text) {
  co_await sender->drafts().keep(place, std::move(text));
}

}  // namespace

DraftKeeper::DraftKeeper(std::shared_ptr<PromptSender> sender, StoreChanges& changes) : sender_(std::move(sender)) {
  delay_.setSingleShot(true);
  delay_.setInterval(kDelay);
  connect(&delay_, &QTimer::timeout, this, [this] { isRead_ ? writeNow() : delay_.start(); });
  connect(&changes, &StoreChanges::conversationChanged, this, [this](ConversationId id) { changed(id); });
  connect(&changes, &StoreChanges::projectChanged, this, [this](ProjectId id) { changed(id); });
  connect(&changes, &StoreChanges::everythingChanged, this, [this] {
    if (place_) changed(*place_);
  });
}

DraftKeeper::~DraftKeeper() { writeNow(); }

void DraftKeeper::open(std::optional<DraftPlace> place) {
  writeNow();
  place_ = place;
  text_.clear();
  isRead_ = false;
  turns_.take();
  if (place_) start(read());
}

void DraftKeeper::typed(std::string text) {
  text_ = std::move(text);
  isTouched_ = true;
  if (!delay_.isActive()) delay_.start();
}

void DraftKeeper::handOver() {
  writeNow();
  text_.clear();
}

void DraftKeeper::writeNow() {
  delay_.stop();
  if (!std::exchange(isTouched_, false) || !place_) return;
  turns_.take();
  isRead_ = true;
  InterfaceLoop::instance().spawn(keep(sender_, *place_, text_));
}

void DraftKeeper::changed(const DraftPlace& place) {
  if (place == place_) start(read());
}

awaitable<void> DraftKeeper::read() {
  if (!place_) co_return;
  const auto turn = turns_.take();
  const DraftPlace place = *place_;
  const auto stored = co_await alive(sender_->drafts().draft(place));
  if (!turns_.isLatest(turn)) co_return;
  const bool isFirst = !std::exchange(isRead_, true);
  std::string text = stored.value_or("");
  if (text == text_ || sender_->isUnderWay(place, text)) co_return;
  if (isTouched_ && (!isFirst || text.empty())) co_return;
  if (isTouched_) text += "\n\n" + text_;  // typed before the draft was there
  text_ = text;
  Q_EMIT arrived(QString::fromStdString(text));
}

}  // namespace ravant::desktop
