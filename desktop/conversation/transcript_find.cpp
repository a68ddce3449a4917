#include "desktop/conversation/transcript_find.hpp"

namespace ravant::desktop {

TranscriptFind::TranscriptFind(QObject* parent) : QObject(parent) {}

void TranscriptFind::setRows(TranscriptWindow* rows) {
  if (rows_ == rows) return;
  if (rows_) rows_->disconnect(this);
  rows_ = rows;
  if (rows_) {
    connect(rows_, &TranscriptWindow::conversationChanged, this, &TranscriptFind::begin);
    connect(rows_, &TranscriptWindow::placesChanged, this, &TranscriptFind::arrive);
  }
  Q_EMIT rowsChanged();
}

void TranscriptFind::setText(const QString& text) {
  if (std::exchange(text_, text) == text) return;
  Q_EMIT textChanged();
  begin();
  if (!text_.isEmpty()) seek(FindDirection::previous);
}

void TranscriptFind::begin() {
  stop_.request_stop();
  turns_.take();
  at_.reset();
  isSeeking_ = false;
  steps_.clear();
  show({}, false);
  mark({});
  if (rows_) rows_->setMarkedText(text_);
}

void TranscriptFind::next() { seek(FindDirection::next); }
void TranscriptFind::previous() { seek(FindDirection::previous); }

void TranscriptFind::end() {
  setText({});
  begin();
  if (rows_) rows_->leavePlaces();
}

void TranscriptFind::seek(FindDirection direction) {
  if (text_.isEmpty() || !rows_ || !rows_->shown()) return;
  if (isSeeking_) return steps_.push_back(direction);
  beyond_ = Beyond::nothing;
  if (!at_) direction = FindDirection::previous;
  if (at_ && rows_->stepPlace(direction)) return;
  isSeeking_ = true;
  stop_ = {};
  start(lookOrGiveUp({.conversation = *rows_->shown(),
                      .text = text_,
                      .from = at_,
                      .visible = rows_->lastVisible(),
                      .direction = direction},
                     turns_.take(), stop_.get_token()));
}

awaitable<void> TranscriptFind::lookOrGiveUp(Question question, Turns::Turn turn, std::stop_token stop) {
  try {
    co_await look(std::move(question), turn, std::move(stop));
  } catch (const std::exception&) {
    if (turns_.isLatest(turn)) isSeeking_ = false;
    throw;
  }
}

awaitable<void> TranscriptFind::look(Question question, Turns::Turn turn, std::stop_token stop) {
  const ConversationId conversation = question.conversation;
  const FindDirection direction = question.direction;
  const std::string text = question.text.toStdString();
  std::optional<ConversationItemId> from = question.from;
  Application& application = DesktopWindow::instance().application();
  TranscriptFinder& finder = application.transcriptFinder();
  if (!from && question.visible) {
    // What is visible is searched too.
    const auto behind =
        co_await alive(application.transcripts().page(conversation, question.visible, PageDirection::after, 1));
    if (!behind.empty()) from = behind.front().id;
    if (!turns_.isLatest(turn)) co_return;
  }
  const auto hit = co_await alive(finder.find(conversation, text, from, direction, stop));
  if (!turns_.isLatest(turn)) co_return;
  if (!hit) {
    isSeeking_ = false;
    steps_.clear();
    show(tr("“%1” is not here.").arg(question.text), true);
    co_return;
  }
  const auto count = co_await alive(finder.count(conversation, text, hit->item, stop));
  if (!turns_.isLatest(turn) || !rows_) co_return;
  const auto before = std::exchange(count_, count).position;
  if (at_ && before && count.position) {
    if (direction == FindDirection::next && *count.position <= *before) beyond_ = Beyond::end;
    if (direction == FindDirection::previous && *count.position >= *before) beyond_ = Beyond::beginning;
  }
  at_ = hit->item;
  mark(QList<double>(count.places.begin(), count.places.end()));
  rows_->showWords(hit->item, question.text, direction);
}

void TranscriptFind::arrive() {
  tell();
  if (!std::exchange(isSeeking_, false) || steps_.empty()) return;
  const FindDirection direction = steps_.front();
  steps_.pop_front();
  seek(direction);
  // A step within an item is over at once.
  if (!isSeeking_ && !steps_.empty()) {
    isSeeking_ = true;
    arrive();
  }
}

void TranscriptFind::tell() {
  if (!at_ || text_.isEmpty() || !rows_) return;
  QString status = tr("%1 of %n messages", "", static_cast<int>(count_.items)).arg(count_.position.value_or(0));
  if (count_.items == 1) status = tr("1 message");
  if (rows_->places() > 1) status += tr(", match %1 of %2").arg(rows_->currentPlace()).arg(rows_->places());
  if (beyond_ == Beyond::end) status = tr("From the beginning: %1").arg(status);
  if (beyond_ == Beyond::beginning) status = tr("From the end: %1").arg(status);
  show(status, false);
}

void TranscriptFind::mark(QList<double> places) {
  if (std::exchange(places_, places) != places) Q_EMIT placesChanged();
}

void TranscriptFind::show(const QString& status, bool isFruitless) {
  const bool isSame = status_ == status && isFruitless_ == isFruitless;
  status_ = status;
  isFruitless_ = isFruitless;
  if (!isSame) Q_EMIT statusChanged();
}

}  // namespace ravant::desktop
