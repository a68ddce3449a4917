#include <fmt/format.h>

#include "app/transfer/quoted_markdown.hpp"
#include "app/transfer/text_blocks.hpp"
#include "app/transfer/transcript_form.hpp"
#include "platform/clock/clock.hpp"
#include "platform/text/text.hpp"

namespace ravant {
namespace {

/// A title as plain words: nothing in it is a mark.
std::string plainWords(std::string_view words) {
  std::string plain;
  for (const char c : oneLine(words)) {
    if (std::string_view("\\`*_[]<>&#|~!").contains(c)) plain += '\\';
    plain += c;
  }
  return plain;
}

std::string messageText(const ConversationItem& item, const AgentMessage& message) {
  return message.blocks.empty() ? quotedMarkdown(item.text) : quotedMarkdown(message.blocks);
}

std::string callText(const ToolInvocation& call) {
  const std::string input = htmlEscaped(shownInput(call));
  std::string text =
      fmt::format("\n<details>\n<summary>{} {}{}</summary>\n", statusMark(call.status),
                  htmlEscaped(oneLine(call.toolName)), input.empty() ? "" : fmt::format(" <code>{}</code>", input));
  if (call.input) text += "\nInput:\n\n" + fencedCode(*call.input, "", "");
  if (call.output) text += "\nOutput:\n\n" + fencedCode(*call.output, "", "");
  return text += "\n</details>\n";
}

class MarkdownForm final : public TranscriptForm {
 public:
  std::string beginning(const ExportedConversation& exported) override {
    const Conversation& conversation = exported.conversation;
    std::string text =
        fmt::format("# {}\n\n- Conversation: {}\n- Project: {}, {}\n", plainWords(shownTitle(exported)),
                    conversation.id.text(), plainWords(exported.projectName), plainWords(exported.projectPath));
    if (exported.agentType) text += fmt::format("- Agent: {}\n", displayName(*exported.agentType));
    if (conversation.lastUsedModel) text += fmt::format("- Model: {}\n", plainWords(*conversation.lastUsedModel));
    if (const auto& item = conversation.workItem) {
      text += fmt::format("- About: {}, {}\n", plainWords(item->name), plainWords(item->url));
    }
    return text +
           fmt::format("- From {} to {}\n", iso8601(conversation.createdAt), iso8601(conversation.lastActivityAt));
  }

  std::string entry(const ConversationItem& item) override {
    const std::string time = iso8601(item.createdAt);
    switch (kindOf(item)) {
      case ConversationItemKind::userMessage: {
        const std::string end = shownEnd(std::get<UserMessage>(item.detail));
        return fmt::format("\n## Prompt, {}\n\n{}{}", time, end.empty() ? "" : fmt::format("Ended: {}\n\n", end),
                           quotedMarkdown(item.text));
      }
      case ConversationItemKind::agentMessage: {
        const auto& message = std::get<AgentMessage>(item.detail);
        const std::string model = message.agentModel ? ", " + plainWords(*message.agentModel) : "";
        return fmt::format("\n## Reply, {}{}\n\n{}", time, model, messageText(item, message));
      }
      case ConversationItemKind::toolInvocationGroup: {
        std::string text = fmt::format("\n## Tools, {}\n", time);
        for (const ToolInvocation& call : std::get<ToolInvocationGroup>(item.detail).invocations)
          text += callText(call);
        return text;
      }
      case ConversationItemKind::compactionEvent:
        return fmt::format("\n## Compaction, {}\n\n{}", time, quotedMarkdown(item.text));
      case ConversationItemKind::failureEvent:
        return fmt::format("\n## Failure, {}\n\n{}", time, quotedMarkdown(item.text));
    }
    __builtin_unreachable();
  }

  std::string end() override { return {}; }
};

}  // namespace

std::unique_ptr<TranscriptForm> markdownForm() { return std::make_unique<MarkdownForm>(); }

}  // namespace ravant
