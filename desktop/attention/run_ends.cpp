#include "desktop/attention/run_ends.hpp"

#include <chrono>

#include "core/conversation_state.hpp"

namespace ravant::desktop {
namespace {

constexpr std::chrono::seconds kUntilSilence(10);

std::optional<RunEnd::Kind> kindOf(PromptOutcome outcome) {
  switch (outcome) {
    case PromptOutcome::finished:
    case PromptOutcome::limit:
      return RunEnd::Kind::finished;
    case PromptOutcome::failed:
      return RunEnd::Kind::failed;
    case PromptOutcome::cancelled:
    case PromptOutcome::interrupted:
      return std::nullopt;
  }
  __builtin_unreachable();
}

}  // namespace

RunEnds::RunEnds(DesktopWindow& window, QObject* parent)
    : QObject(parent), window_(window), begunAt_(window.application().modelContainer()->clock().now()) {
  silence_.setSingleShot(true);
  silence_.setInterval(kUntilSilence);
  connect(&silence_, &QTimer::timeout, this, [this] { speak({}); });
  StoreChanges& changes = window.changes();
  const auto lookAgain = [this](ConversationId conversation) { looksAt(conversation).soon(); };
  connect(&changes, &StoreChanges::conversationChanged, this, lookAgain);
  connect(&changes, &StoreChanges::itemChanged, this, lookAgain);
  connect(&changes, &StoreChanges::runChanged, this,
          [this](ConversationId conversation, const std::optional<RunState>& state) {
            if (!state) looksAt(conversation).now();
          });
  connect(&changes, &StoreChanges::everythingChanged, this, [this] {
    for (const ConversationId running : running_) looksAt(running).soon();
    start(findRunning());
  });
  start(findRunning());
}

awaitable<void> RunEnds::findRunning() {
  for (const auto& summary : co_await alive(window_.application().conversations().conversations({}))) {
    if (summary.run) running_.insert(summary.conversation.id);
  }
}

Rereading& RunEnds::looksAt(ConversationId conversation) {
  const auto read = [this, conversation] { return look(conversation); };
  // Without a rest: two prompts could end within it, and only the latest one is seen.
  return looks_.try_emplace(conversation, *this, read, std::chrono::milliseconds(0)).first->second;
}

awaitable<void> RunEnds::look(ConversationId conversation) {
  const auto summary = co_await alive(window_.application().conversations().conversation(conversation));
  const bool runs = summary && summary->run;
  const bool wasRunning = runs ? !running_.insert(conversation).second : running_.erase(conversation) > 0;
  if (!summary) co_return;
  TranscriptReader& transcripts = window_.application().transcripts();
  const auto last = co_await alive(transcripts.last(conversation));
  if (!last) co_return;
  const auto prompt = co_await alive(transcripts.promptOf(last->id));
  if (!prompt) co_return;
  // Behind one that ends, the next of its queue can have begun by now.
  const auto [seen, isFirst] = prompts_.try_emplace(conversation, prompt->id);
  if (const auto before = std::exchange(seen->second, prompt->id); before != prompt->id) {
    if (const auto ended = co_await alive(transcripts.item(before))) tellEndOf(*ended, *summary, wasRunning);
  }
  if (!runs) tellEndOf(*prompt, *summary, wasRunning);
}

void RunEnds::tellEndOf(const ConversationItem& prompt, const ConversationSummary& summary, bool wasRunning) {
  const auto* const message = std::get_if<UserMessage>(&prompt.detail);
  if (!message || !message->endReason) return;
  const bool isOld = message->endedAt ? *message->endedAt < begunAt_ : !wasRunning && prompt.createdAt < begunAt_;
  if (isOld) return;
  const auto told = told_.find(summary.conversation.id);
  if (told != told_.end() && told->second == prompt.id) return;
  told_.insert_or_assign(summary.conversation.id, prompt.id);
  if (const auto kind = kindOf(*message->endReason)) tell(summary, *kind);
}

void RunEnds::tell(const ConversationSummary& summary, RunEnd::Kind kind) {
  const QString agent = summary.agentType ? QString::fromUtf8(displayName(*summary.agentType).data()) : tr("The agent");
  const RunEnd end{.conversation = summary.conversation.id,
                   .project = summary.conversation.project,
                   .kind = kind,
                   .title = QString::fromStdString(displayTitle(summary)),
                   .words = (kind == RunEnd::Kind::failed ? tr("%1 failed") : tr("%1 finished")).arg(agent)};
  speak({});
  speak(window_.shownConversation() == end.conversation ? end.words : tr("%1: %2").arg(end.words, end.title));
  Q_EMIT ended(end);
}

void RunEnds::speak(const QString& words) {
  if (std::exchange(spoken_, words) != words) Q_EMIT spokenChanged();
  if (!words.isEmpty()) silence_.start();
}

}  // namespace ravant::desktop
