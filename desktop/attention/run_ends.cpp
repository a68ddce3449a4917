#include "desktop/attention/run_ends.hpp"

#include <chrono>

#include "core/conversation_state.hpp"
#include "core/tool_call_summary.hpp"
#include "platform/async/on_pool.hpp"

namespace ravant::desktop {
namespace {

constexpr std::chrono::seconds kUntilSilence(10);
constexpr std::int64_t kItemsAtOnce = 60;
constexpr int kMostPages = 20;

std::optional<RunEnd::Kind> kindOf(PromptOutcome outcome) {
  switch (outcome) {
    case PromptOutcome::finished:
      return RunEnd::Kind::finished;
    case PromptOutcome::failed:
    case PromptOutcome::limit:
      return RunEnd::Kind::failed;
    case PromptOutcome::cancelled:
    case PromptOutcome::interrupted:
      return std::nullopt;
  }
  __builtin_unreachable();
}

/// Takes in the files that the calls of the items changed. False where the next prompt is among the items.
bool takeChanges(const std::vector<ConversationItem>& items, std::set<std::string>& files) {
  for (const ConversationItem& item : items) {
    if (std::holds_alternative<UserMessage>(item.detail)) return false;
    const auto* const group = std::get_if<ToolInvocationGroup>(&item.detail);
    if (!group) continue;
    for (const ToolInvocation& call : group->invocations) {
      if (call.status != ToolInvocationStatus::completed) continue;
      const ToolCallSummary summary = toolCallSummary(call);
      if (summary.kind == ToolCallKind::edit && !summary.subject.empty()) files.insert(summary.subject);
    }
  }
  return !items.empty();
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
  if (const auto known = looks_.find(conversation); known != looks_.end()) return known->second;
  std::erase_if(looks_, [](const auto& look) { return look.second.isIdle(); });
  const auto read = [this, conversation] { return look(conversation); };
  // Without a rest: two prompts could end within it, and only the latest one is seen.
  return looks_.try_emplace(conversation, *this, read, std::chrono::milliseconds(0)).first->second;
}

awaitable<void> RunEnds::look(ConversationId conversation) {
  const auto summary = co_await alive(window_.application().conversations().conversation(conversation));
  const bool runs = summary && summary->run;
  const bool wasRunning = runs ? !running_.insert(conversation).second : running_.erase(conversation) > 0;
  if (!summary) {
    prompts_.erase(conversation);
    told_.erase(conversation);
    co_return;
  }
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
  if (runs) co_return;
  if (last->kind == ConversationItemKind::failureEvent) {
    const auto failure = co_await alive(transcripts.item(last->id));
    if (failure && tellFailureBehind(*prompt, *failure, *summary)) co_return;
  }
  tellEndOf(*prompt, *summary, wasRunning);
}

bool RunEnds::tellFailureBehind(const ConversationItem& prompt, const ConversationItem& failure,
                                const ConversationSummary& summary) {
  if (!isBehindEnd(failure, prompt)) return false;
  if (failure.createdAt < begunAt_) return true;
  const auto told = told_.find(summary.conversation.id);
  if (told != told_.end() && told->second >= failure.id) return true;
  told_.insert_or_assign(summary.conversation.id, failure.id);
  tell(summary, RunEnd::Kind::failed, {});
  return true;
}

void RunEnds::tellEndOf(const ConversationItem& prompt, const ConversationSummary& summary, bool wasRunning) {
  const auto* const message = std::get_if<UserMessage>(&prompt.detail);
  if (!message || !message->endReason) return;
  const bool isOld = message->endedAt ? *message->endedAt < begunAt_ : !wasRunning && prompt.createdAt < begunAt_;
  if (isOld) return;
  const auto told = told_.find(summary.conversation.id);
  if (told != told_.end() && told->second >= prompt.id) return;
  told_.insert_or_assign(summary.conversation.id, prompt.id);
  const auto kind = kindOf(*message->endReason);
  if (kind == RunEnd::Kind::finished) {
    start(tellFinished(prompt, summary));
  } else if (kind) {
    tell(summary, *kind, {});
  }
}

awaitable<void> RunEnds::tellFinished(ConversationItem prompt, ConversationSummary summary) {
  QString changes;
  std::exception_ptr error;
  try {
    changes = co_await changesBehind(std::move(prompt));
  } catch (const std::exception&) {
    error = std::current_exception();
  }
  tell(summary, RunEnd::Kind::finished, changes);
  if (error) std::rethrow_exception(error);
}

awaitable<QString> RunEnds::changesBehind(ConversationItem prompt) {
  Application& application = window_.application();
  std::set<std::string> files;
  ConversationItemId last = prompt.id;
  for (int pages = 0; pages < kMostPages; ++pages) {
    auto items =
        co_await alive(application.transcripts().page(prompt.conversation, last, PageDirection::after, kItemsAtOnce));
    if (!items.empty()) last = items.back().id;
    const auto page = std::make_shared<const std::vector<ConversationItem>>(std::move(items));
    const auto look = [page, known = files] {
      auto found = known;
      const bool goesOn = takeChanges(*page, found);
      return std::pair(goesOn, std::move(found));
    };
    bool goesOn = false;
    std::tie(goesOn, files) = co_await alive(onPool(application.modelContainer()->work(), look));
    if (goesOn) continue;
    if (files.empty()) co_return QString();
    co_return files.size() == 1 ? tr(", 1 file changed") : tr(", %1 files changed").arg(files.size());
  }
  co_return QString();
}

void RunEnds::tell(const ConversationSummary& summary, RunEnd::Kind kind, const QString& changes) {
  const QString agent = summary.agentType ? QString::fromUtf8(displayName(*summary.agentType).data()) : tr("The agent");
  const RunEnd end{.conversation = summary.conversation.id,
                   .project = summary.conversation.project,
                   .kind = kind,
                   .title = QString::fromStdString(displayTitle(summary)),
                   .words = (kind == RunEnd::Kind::failed ? tr("%1 failed") : tr("%1 finished")).arg(agent) + changes};
  speak({});
  speak(window_.shownConversation() == end.conversation ? end.words : tr("%1: %2").arg(end.words, end.title));
  Q_EMIT ended(end);
}

void RunEnds::speak(const QString& words) {
  if (std::exchange(spoken_, words) != words) Q_EMIT spokenChanged();
  if (!words.isEmpty()) silence_.start();
}

}  // namespace ravant::desktop
