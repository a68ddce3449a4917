#include "desktop/conversation/conversation_head.hpp"

#include <QClipboard>
#include <QGuiApplication>
#include <algorithm>
#include <chrono>

#include "core/conversation_state.hpp"
#include "desktop/program/conversation_archive.hpp"
#include "desktop/text/shown_text.hpp"
#include "platform/text/duration_text.hpp"
#include "platform/text/text.hpp"

namespace ravant::desktop {
namespace {

constexpr std::chrono::seconds kRunClock{1};

QString shown(std::string_view text) { return QString::fromStdString(shownText(text)); }

/// An age that is told as a duration is told to be one.
QString ageOf(Timestamp time, Timestamp now) {
  const QString age = shown(shortAge(time, now));
  const bool isDuration = age.endsWith(QLatin1String(" min")) || age.endsWith(QLatin1String(" h"));
  return isDuration ? ConversationHead::tr("%1 ago").arg(age) : age;
}

}  // namespace

ConversationHead::ConversationHead(QObject* parent)
    : QObject(parent), application_(DesktopWindow::instance().application()) {
  const StoreChanges& changes = DesktopWindow::instance().changes();
  connect(&clock_, &QTimer::timeout, this, &ConversationHead::tell);
  connect(&DesktopWindow::instance(), &DesktopWindow::presentTimeChanged, this, &ConversationHead::tell);
  const auto readAgain = [this] { rereading_.soon(); };
  const auto readIfShown = [this](ConversationId conversation) {
    if (shown_ == conversation) rereading_.soon();
  };
  connect(&changes, &StoreChanges::conversationChanged, this, readIfShown);
  connect(&changes, &StoreChanges::runChanged, this, readIfShown);
  connect(&changes, &StoreChanges::projectChanged, this, readAgain);
  connect(&changes, &StoreChanges::everythingChanged, this, readAgain);
}

void ConversationHead::setConversation(const QString& conversation) {
  const auto id = conversation.isEmpty() ? std::nullopt : std::optional(idOf<ConversationId>(conversation));
  if (id == shown_) return;
  shown_ = id;
  summary_.reset();
  clock_.stop();
  tell();
  Q_EMIT conversationChanged();
  rereading_.now();
}

awaitable<void> ConversationHead::read() {
  if (!shown_) co_return;
  const ConversationId conversation = *shown_;
  auto summary = co_await alive(application_.conversations().conversation(conversation));
  if (shown_ != conversation) co_return;  // it is read anew
  summary_ = std::move(summary);
  isRunning() ? clock_.start(kRunClock) : clock_.stop();
  tell();
}

void ConversationHead::tell() {
  title_.clear();
  line_.clear();
  if (summary_) {
    title_ = shown(oneLine(displayTitle(*summary_)));
    QStringList parts{shown(oneLine(summary_->projectName))};
    if (summary_->agentType) parts.append(shown(displayName(*summary_->agentType)));
    switch (stateOf(*summary_)) {
      case ConversationState::running: {
        const auto lasted = application_.modelContainer()->clock().now() - summary_->run->since;
        parts.append(lasted < std::chrono::seconds(1) ? tr("running")
                                                      : tr("running for %1").arg(shown(shortDuration(lasted))));
        break;
      }
      case ConversationState::interrupted:
        parts.append(tr("interrupted"));
        break;
      case ConversationState::failed:
        parts.append(tr("failed"));
        break;
      default:
        if (summary_->items > 0)
          parts.append(ageOf(summary_->conversation.lastActivityAt, DesktopWindow::instance().presentTime()));
    }
    line_ = parts.join(QStringLiteral("  ·  "));
  }
  Q_EMIT changed();
}

void ConversationHead::rename(const QString& title) {
  if (shown_) start(alive(application_.conversations().renameConversation(*shown_, titleFrom(title.toStdString()))));
}

void ConversationHead::archive() {
  if (shown_) archiveConversation(*shown_);
}

void ConversationHead::copyId() const {
  if (shown_) QGuiApplication::clipboard()->setText(textOf(*shown_));
}

void ConversationHead::tryAgain(const QString& failure) {
  if (shown_) start(sendAgain(*shown_, ConversationItemId(failure.toLongLong())));
}

awaitable<void> ConversationHead::sendAgain(ConversationId conversation, ConversationItemId failure) {
  const auto prompt = co_await alive(application_.transcripts().promptOf(failure));
  const auto failed = co_await alive(application_.transcripts().item(failure));
  if (!prompt || !failed) co_return;
  DesktopWindow& window = DesktopWindow::instance();
  // The prompt before it is done: what failed is the one that waits.
  if (isBehindEnd(*failed, *prompt)) co_return window.sendQueued(conversation);
  window.sendPrompt(conversation, QString::fromStdString(prompt->text));
}

void ConversationHead::goOn() {
  if (shown_) DesktopWindow::instance().sendPrompt(*shown_, QStringLiteral("Continue."));
}

}  // namespace ravant::desktop
