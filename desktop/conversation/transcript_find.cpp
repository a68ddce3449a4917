#include "desktop/conversation/transcript_find.hpp"

namespace ravant::desktop {

TranscriptFind::TranscriptFind(QObject* parent) : QObject(parent) {}

void TranscriptFind::setConversation(const QString& conversation) {
  if (std::exchange(conversation_, conversation) == conversation) return;
  at_.reset();
  stop_.request_stop();
  turns_.take();
  tell({});
  Q_EMIT conversationChanged();
}

void TranscriptFind::setText(const QString& text) {
  if (std::exchange(text_, text) == text) return;
  Q_EMIT textChanged();
  at_.reset();
  // From the end: what is looked for is most often what was said last.
  seek(FindDirection::previous);
}

void TranscriptFind::next() { seek(FindDirection::next); }
void TranscriptFind::previous() { seek(FindDirection::previous); }

void TranscriptFind::seek(FindDirection direction) {
  stop_.request_stop();
  stop_ = {};
  if (text_.isEmpty() || conversation_.isEmpty()) {
    turns_.take();
    return tell({});
  }
  start(look(direction, stop_.get_token()));
}

awaitable<void> TranscriptFind::look(FindDirection direction, std::stop_token stop) {
  const auto turn = turns_.take();
  const auto conversation = idOf<ConversationId>(conversation_);
  const std::string text = text_.toStdString();
  TranscriptFinder& finder = DesktopWindow::instance().application().transcriptFinder();
  const auto hit = co_await alive(finder.find(conversation, text, at_, direction, stop));
  if (!turns_.isLatest(turn)) co_return;
  if (!hit) {
    tell(tr("Nothing found"));
    co_return;
  }
  at_ = hit->item;
  Q_EMIT found(textOf(hit->item));
  const auto count = co_await alive(finder.count(conversation, text, at_, stop));
  if (turns_.isLatest(turn)) tell(tr("%1 of %2").arg(count.position.value_or(0)).arg(count.items));
}

void TranscriptFind::tell(const QString& status) {
  if (std::exchange(status_, status) != status) Q_EMIT statusChanged();
}

}  // namespace ravant::desktop
