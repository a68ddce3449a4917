#include "core/conversation_item.hpp"

#include <algorithm>
#include <array>
#include <utility>

namespace ravant {
namespace {

constexpr std::array<std::string_view, 5> kItemKinds = {"userMessage", "agentMessage", "toolInvocationGroup",
                                                        "compactionEvent", "failureEvent"};
constexpr std::array<std::string_view, 2> kBlockKinds = {"prose", "code"};
constexpr std::array<std::string_view, 3> kStatuses = {"running", "completed", "failed"};
constexpr std::array<std::string_view, 5> kOutcomes = {"finished", "failed", "cancelled", "interrupted", "limit"};

template <class Enumeration, std::size_t size>
std::optional<Enumeration> parse(const std::array<std::string_view, size>& rawValues, std::string_view text) {
  const auto found = std::ranges::find(rawValues, text);
  if (found == rawValues.end()) return std::nullopt;
  return static_cast<Enumeration>(found - rawValues.begin());
}

template <class Enumeration>
std::size_t position(Enumeration value) {
  return static_cast<std::size_t>(std::to_underlying(value));
}

}  // namespace

std::string_view rawValue(MessageBlockKind kind) { return kBlockKinds.at(position(kind)); }

std::optional<MessageBlockKind> messageBlockKindFromRawValue(std::string_view text) {
  return parse<MessageBlockKind>(kBlockKinds, text);
}

std::string_view rawValue(ToolInvocationStatus status) { return kStatuses.at(position(status)); }

std::optional<ToolInvocationStatus> toolInvocationStatusFromRawValue(std::string_view text) {
  return parse<ToolInvocationStatus>(kStatuses, text);
}

std::string_view rawValue(PromptOutcome outcome) { return kOutcomes.at(position(outcome)); }

std::optional<PromptOutcome> promptOutcomeFromRawValue(std::string_view text) {
  return parse<PromptOutcome>(kOutcomes, text);
}

std::string_view rawValue(ConversationItemKind kind) { return kItemKinds.at(position(kind)); }

std::optional<ConversationItemKind> conversationItemKindFromRawValue(std::string_view text) {
  return parse<ConversationItemKind>(kItemKinds, text);
}

ConversationItemKind kindOf(const ConversationItem& item) {
  return static_cast<ConversationItemKind>(item.detail.index());
}

bool isBehindEnd(const ConversationItem& failure, const ConversationItem& prompt) {
  const auto* const message = std::get_if<UserMessage>(&prompt.detail);
  return message && message->endReason == PromptOutcome::finished && message->endedAt &&
         failure.createdAt >= *message->endedAt;
}

}  // namespace ravant
