#include "cli/commands/run_follower.hpp"

#include <tuple>
#include <utility>

#include "cli/output/printed_since.hpp"

namespace ravant::cli {
namespace {

/// Whether the token figures or the context window are the same.
bool hasSameUsage(const Conversation& one, const Conversation& other) {
  const auto figures = [](const Conversation& conversation) {
    return std::tie(conversation.lastUsedTokens, conversation.lastTotalProcessedTokens, conversation.lastInputTokens,
                    conversation.lastOutputTokens, conversation.lastCacheReadTokens,
                    conversation.lastCacheCreationTokens, conversation.lastMaxTokens);
  };
  return figures(one) == figures(other);
}

/// What a call that still runs has printed, where it did not change in anything else.
std::optional<std::string> printedBy(const ToolInvocation& now, ToolInvocation before) {
  if (now.status != ToolInvocationStatus::running) return std::nullopt;
  const std::string printed = std::exchange(before.output, now.output).value_or(std::string());
  if (before != now) return std::nullopt;
  return std::string(printedSince(printed, now.output.value_or(std::string())));
}

}  // namespace

RunFollower::RunFollower(Application& application, ConversationSummary before, std::optional<ConversationItemId> last,
                         RunOutput& output)
    : application_(application),
      shownSummary_(std::move(before)),
      shownItem_(last.value_or(ConversationItemId())),
      output_(output) {}

awaitable<void> RunFollower::follow(std::shared_ptr<ChangeSubscription> subscription) {
  while (auto batch = co_await subscription->next()) {
    if (batch->isIncomplete) {
      co_await showAll();
    } else {
      co_await show(*std::move(batch));
    }
  }
}

awaitable<void> RunFollower::show(ChangeBatch batch) {
  const ConversationId id = shownSummary_.conversation.id;
  bool hasConversationChanged = false;
  std::set<ToolInvocationId> readAnew;  // as they are behind the whole batch
  for (const Change& change : batch.changes) {
    hasConversationChanged |= change.entity == Change::EntityId(id) && change.operation != ChangeOperation::grew &&
                              change.operation != ChangeOperation::went;
    if (change.conversation != id) continue;
    if (change.growth) output_.growth(*change.growth);
    if (change.state) output_.state(*change.state);
    const auto* item = std::get_if<ConversationItemId>(&change.entity);
    if (item && change.operation == ChangeOperation::inserted) {
      if (auto found = co_await application_.transcripts().item(*item)) showItem(*std::move(found));
    } else if (const auto* invocation = std::get_if<ToolInvocationId>(&change.entity)) {
      if (!readAnew.insert(*invocation).second) continue;
      if (auto found = co_await application_.transcripts().invocation(*invocation)) showInvocation(*std::move(found));
    }
  }
  if (hasConversationChanged) co_await showUsage();
}

awaitable<void> RunFollower::showAll() {
  const auto items = co_await application_.transcripts().items(shownSummary_.conversation.id, std::nullopt);
  for (const ConversationItem& item : items) {
    if (item.id > shownItem_) showItem(item);
    const auto* group = std::get_if<ToolInvocationGroup>(&item.detail);
    if (!group || !shownGroups_.contains(item.id)) continue;
    for (const ToolInvocation& invocation : group->invocations) showInvocation(invocation);
  }
  co_await showUsage();
}

void RunFollower::showItem(ConversationItem item) {
  if (item.id <= shownItem_) return;
  shownItem_ = item.id;
  item.rawJSON = std::string();  // which is as large as the text
  if (auto* group = std::get_if<ToolInvocationGroup>(&item.detail)) {
    shownGroups_.insert(item.id);
    group->invocations.clear();
  }
  if (kindOf(item) == ConversationItemKind::failureEvent) failure_ = item.text;
  output_.item(item);
}

void RunFollower::showInvocation(ToolInvocation invocation) {
  const auto shown = shownInvocations_.find(invocation.id);
  if (shown != shownInvocations_.end() && shown->second == invocation) return;
  const auto printed =
      shown == shownInvocations_.end() ? std::nullopt : printedBy(invocation, std::move(shown->second));
  if (!printed) {
    output_.invocation(invocation);
  } else if (!printed->empty()) {
    output_.toolOutput(invocation.id, *printed);
  }
  shownInvocations_.insert_or_assign(invocation.id, std::move(invocation));
}

awaitable<void> RunFollower::showUsage() {
  auto summary = co_await application_.conversations().conversation(shownSummary_.conversation.id);
  if (!summary || hasSameUsage(summary->conversation, shownSummary_.conversation)) co_return;
  shownSummary_ = *std::move(summary);
  output_.usage(shownSummary_);
}

}  // namespace ravant::cli
