#include "desktop/conversation/conversation_head.hpp"

#include <QClipboard>
#include <QGuiApplication>
#include <algorithm>
#include <chrono>

#include "app/default_model.hpp"
#include "app/prompt_submission.hpp"
#include "core/conversation_state.hpp"
#include "desktop/text/shown_text.hpp"
#include "platform/text/duration_text.hpp"
#include "platform/text/text.hpp"

namespace ravant::desktop {
namespace {

constexpr std::chrono::seconds kRunClock{1};
constexpr std::chrono::minutes kRestClock{1};
constexpr std::chrono::milliseconds kRest{200};

QString shown(std::string_view text) { return QString::fromStdString(shownText(text)); }

/// Sends a prompt as the conversation's last one was sent: the text of the prompt that failed, else `words`.
awaitable<void> send(Application& application, ConversationId id, std::optional<ConversationItemId> failure,
                     std::string words) {
  const auto summary = co_await application.conversations().conversation(id);
  if (!summary) co_return;
  if (failure) {
    const auto prompt = co_await application.transcripts().promptOf(*failure);
    if (!prompt) co_return;
    words = prompt->text;
  }
  const auto projects = co_await application.projects().projects();
  const auto project = std::ranges::find(projects, summary->conversation.project, &Project::id);
  const auto agents = co_await application.agents().agents();
  const auto agent = std::ranges::find(agents, summary->conversation.agent.value_or(AgentId()), &Agent::id);
  if (project == projects.end()) co_return;
  if (agent == agents.end()) throw std::runtime_error("The agent of this conversation is no longer there.");
  auto model = summary->conversation.lastUsedModel;
  if (!model) model = co_await defaultModel(application, *agent);
  if (!model) throw std::runtime_error("The agent of this conversation has no model that is enabled.");
  co_await submitPrompt(application, {.prompt = std::move(words),
                                      .project = *project,
                                      .agent = *agent,
                                      .model = *std::move(model),
                                      .effort = summary->conversation.lastUsedEffortRawValue,
                                      .conversation = id,
                                      .resumedSessionId = summary->conversation.agentResumedSessionId});
}

}  // namespace

ConversationHead::ConversationHead(QObject* parent)
    : QObject(parent), application_(DesktopWindow::instance().application()) {
  const StoreChanges& changes = DesktopWindow::instance().changes();
  rest_.setSingleShot(true);
  rest_.setInterval(kRest);
  connect(&clock_, &QTimer::timeout, this, &ConversationHead::tell);
  connect(&rest_, &QTimer::timeout, this, &ConversationHead::look);
  const auto lookSoon = [this](ConversationId conversation) {
    if (shown_ == conversation && !rest_.isActive()) rest_.start();
  };
  connect(&changes, &StoreChanges::conversationChanged, this, lookSoon);
  connect(&changes, &StoreChanges::runChanged, this, lookSoon);
  connect(&changes, &StoreChanges::projectChanged, this, &ConversationHead::look);
  connect(&changes, &StoreChanges::everythingChanged, this, &ConversationHead::look);
}

void ConversationHead::setConversation(const QString& conversation) {
  const auto id = conversation.isEmpty() ? std::nullopt : std::optional(idOf<ConversationId>(conversation));
  if (id == shown_) return;
  shown_ = id;
  summary_.reset();
  clock_.stop();
  tell();
  Q_EMIT conversationChanged();
  look();
}

void ConversationHead::look() {
  if (!shown_) return;
  isStale_ = true;
  if (!isReading_) start(read());
}

awaitable<void> ConversationHead::read() {
  isReading_ = true;
  while (shown_ && std::exchange(isStale_, false)) {
    const ConversationId conversation = *shown_;
    std::optional<ConversationSummary> summary;
    try {
      summary = co_await alive(application_.conversations().conversation(conversation));
    } catch (const std::exception&) {
      // The transcript beside it says what is wrong with the store.
    }
    if (shown_ != conversation) continue;
    summary_ = std::move(summary);
    clock_.start(isRunning() ? std::chrono::milliseconds(kRunClock) : std::chrono::milliseconds(kRestClock));
    tell();
  }
  isReading_ = false;
}

void ConversationHead::tell() {
  title_.clear();
  line_.clear();
  if (summary_) {
    title_ = shown(oneLine(displayTitle(*summary_)));
    const auto now = application_.modelContainer()->clock().now();
    QStringList parts{shown(oneLine(summary_->projectName))};
    if (summary_->agentType) parts.append(shown(displayName(*summary_->agentType)));
    switch (stateOf(*summary_)) {
      case ConversationState::running:
        parts.append(tr("running for %1").arg(shown(shortDuration(now - summary_->run->since))));
        break;
      case ConversationState::interrupted:
        parts.append(tr("interrupted"));
        break;
      case ConversationState::failed:
        parts.append(tr("failed"));
        break;
      default:
        if (summary_->items > 0) parts.append(shown(shortAge(summary_->conversation.lastActivityAt, now)));
    }
    line_ = parts.join(QStringLiteral("  ·  "));
  }
  Q_EMIT changed();
}

void ConversationHead::rename(const QString& title) {
  if (shown_) start(alive(application_.conversations().renameConversation(*shown_, titleFrom(title.toStdString()))));
}

void ConversationHead::archive() {
  if (shown_) start(putAside(*shown_, title_));
}

awaitable<void> ConversationHead::putAside(ConversationId conversation, QString title) {
  co_await alive(application_.conversations().archiveConversation(conversation));
  const ProjectId project = summary_ ? summary_->conversation.project : ProjectId();
  DesktopWindow& window = DesktopWindow::instance();
  window.state().conversationWasArchived(conversation, {});
  window.notices()->tell(tr("Archived “%1”").arg(title), [&application = application_, conversation, project] {
    InterfaceLoop::instance().spawn(application.conversations().unarchiveConversation(conversation));
    DesktopWindow::instance().openConversation(textOf(conversation), textOf(project));
  });
}

void ConversationHead::copyId() const {
  if (shown_) QGuiApplication::clipboard()->setText(textOf(*shown_));
}

void ConversationHead::tryAgain(const QString& failure) {
  // The run goes on whatever is shown meanwhile.
  if (shown_) {
    InterfaceLoop::instance().spawn(send(application_, *shown_, ConversationItemId(failure.toLongLong()), {}));
  }
}

void ConversationHead::goOn() {
  if (shown_) InterfaceLoop::instance().spawn(send(application_, *shown_, {}, "Continue."));
}

}  // namespace ravant::desktop
