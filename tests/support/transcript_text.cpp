#include "tests/support/transcript_text.hpp"

#include <fmt/format.h>

#include "platform/json/json.hpp"

namespace ravant::test {
namespace {

std::string quoted(const std::string& text) { return compactJson(json::value(text)); }

std::string shown(const std::optional<std::int64_t>& count) { return count ? std::to_string(*count) : "-"; }

std::string details(const AgentMessage& message) {
  std::string text =
      fmt::format("    model {}, message {}, tokens in {} out {} cached {} written {} used {} total {}\n",
                  message.agentModel.value_or("-"), message.providerMessageId.value_or("-"), shown(message.inputTokens),
                  shown(message.outputTokens), shown(message.cacheReadTokens), shown(message.cacheCreationTokens),
                  shown(message.usedTokens), shown(message.totalProcessedTokens));
  for (const MessageBlock& block : message.blocks) {
    text += fmt::format("    {} {} {}\n", rawValue(block.kind), block.language.value_or("-"), quoted(block.text));
  }
  return text;
}

std::string details(const ToolInvocationGroup& group) {
  std::string text;
  for (const ToolInvocation& call : group.invocations) {
    text += fmt::format("    {} {} {}\n      in  {}\n      out {}\n", rawValue(call.status), call.toolName,
                        call.toolCallId, quoted(call.input.value_or("-")), quoted(call.output.value_or("-")));
  }
  return text;
}

template <class Marker>
std::string details(const Marker& /*marker*/) {
  return {};
}

}  // namespace

std::string transcriptText(OpenStore& store, ConversationId id) {
  const Conversation conversation = store.conversation(id);
  std::string text = fmt::format("session {}, window {}, tokens in {} out {} cached {} written {} used {} total {}\n",
                                 conversation.agentResumedSessionId.value_or("-"), shown(conversation.lastMaxTokens),
                                 shown(conversation.lastInputTokens), shown(conversation.lastOutputTokens),
                                 shown(conversation.lastCacheReadTokens), shown(conversation.lastCacheCreationTokens),
                                 shown(conversation.lastUsedTokens), shown(conversation.lastTotalProcessedTokens));
  for (const ConversationItem& item : store.transcript(id)) {
    text += fmt::format("{} {}\n", rawValue(kindOf(item)), quoted(item.text));
    text += std::visit([](const auto& detail) { return details(detail); }, item.detail);
  }
  return text;
}

}  // namespace ravant::test
