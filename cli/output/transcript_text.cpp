#include "cli/output/transcript_text.hpp"

#include <fmt/format.h>

#include "cli/output/terminal_text.hpp"
#include "core/tool_call_wire.hpp"
#include "platform/text/duration_text.hpp"
#include "platform/text/text.hpp"

namespace ravant::cli {
namespace {

constexpr std::size_t kLineWidth = 110;
constexpr std::size_t kFirstLines = 6;

std::string endedByLineBreak(std::string text) {
  if (!text.ends_with('\n')) text += '\n';
  return text;
}

std::string quoted(std::string_view text, const Style& style) {
  std::string lines;
  const std::string safe = terminalSafe(trimmed(text));
  for (const std::string_view line : linesOf(safe)) lines += style.bold(fmt::format("> {}", line)) + '\n';
  return lines;
}

std::string blockText(const MessageBlock& block, const Style& style) {
  const std::string safe = endedByLineBreak(terminalSafe(block.text));
  if (block.kind == MessageBlockKind::prose) return safe;
  const std::string language = oneLine(block.language.value_or(std::string()));
  return fmt::format("{}\n{}{}\n", style.dim("```" + language), safe, style.dim("```"));
}

std::string messageText(const ConversationItem& item, const AgentMessage& message, const Style& style) {
  if (message.blocks.empty()) return endedByLineBreak(terminalSafe(item.text));
  std::string text;
  for (const MessageBlock& block : message.blocks) {
    if (!text.empty()) text += '\n';
    text += blockText(block, style);
  }
  return text;
}

std::string outputText(std::string_view output, const Style& style, ToolOutput amount) {
  const std::string safe = terminalSafe(trimmed(output));
  const std::vector<std::string_view> lines = linesOf(safe);
  std::string text;
  for (std::size_t i = 0; i < lines.size(); ++i) {
    if (amount == ToolOutput::firstLines && i == kFirstLines) {
      return text + style.dim(fmt::format("    … {} more lines", lines.size() - i)) + '\n';
    }
    const std::string line =
        amount == ToolOutput::firstLines ? cutToWidth(lines[i], kLineWidth) : std::string(lines[i]);
    text += style.dim("    " + line) + '\n';
  }
  return text;
}

std::string groupText(const ToolInvocationGroup& group, const Style& style, ToolOutput output) {
  std::string text;
  for (const ToolInvocation& invocation : group.invocations) {
    text += startedText(invocation, style) + endedText(invocation, style, output);
  }
  return text;
}

std::string_view outcomeWords(PromptOutcome outcome) {
  switch (outcome) {
    case PromptOutcome::finished:
      return "finished";
    case PromptOutcome::failed:
      return "failed";
    case PromptOutcome::cancelled:
      return "cancelled";
    case PromptOutcome::interrupted:
      return "interrupted";
    case PromptOutcome::limit:
      return "cut off by a limit";
  }
  __builtin_unreachable();
}

}  // namespace

std::string itemText(const ConversationItem& item, const Style& style, ToolOutput output) {
  switch (kindOf(item)) {
    case ConversationItemKind::userMessage:
      return quoted(item.text, style);
    case ConversationItemKind::agentMessage:
      return messageText(item, std::get<AgentMessage>(item.detail), style);
    case ConversationItemKind::toolInvocationGroup:
      return groupText(std::get<ToolInvocationGroup>(item.detail), style, output);
    case ConversationItemKind::compactionEvent:
      return style.dim(fmt::format("── {} ──", oneLine(item.text))) + '\n';
    case ConversationItemKind::failureEvent:
      return style.bad("✗ " + terminalSafe(trimmed(item.text))) + '\n';
  }
  __builtin_unreachable();
}

std::string endText(const ConversationItem& prompt, const Style& style) {
  const auto& message = std::get<UserMessage>(prompt.detail);
  if (!message.endReason || *message.endReason == PromptOutcome::finished) return {};
  std::string words(outcomeWords(*message.endReason));
  if (message.endedAt) words += " after " + durationText(*message.endedAt - prompt.createdAt);
  return style.dim(fmt::format("── {} ──", words)) + '\n';
}

std::string startedText(const ToolInvocation& invocation, const Style& style) {
  const std::string input = invocation.input ? oneLine(toolInputWords(*invocation.input)) : std::string();
  return fmt::format("• {} {}\n", style.bold(oneLine(invocation.toolName)), cutToWidth(input, kLineWidth));
}

std::string endedText(const ToolInvocation& invocation, const Style& style, ToolOutput output) {
  const std::string name = oneLine(invocation.toolName);
  const std::string result = outputText(invocation.output.value_or(std::string()), style, output);
  switch (invocation.status) {
    case ToolInvocationStatus::running:
      return style.dim("  … running") + '\n';
    case ToolInvocationStatus::completed:
      return fmt::format("  {} {}\n{}", style.good("✓"), name, result);
    case ToolInvocationStatus::failed:
      return fmt::format("  {} {}\n{}", style.bad("✗"), name, result);
  }
  __builtin_unreachable();
}

std::string rawText(const ConversationItem& item) {
  std::string text;
  if (!item.rawJSON.empty()) text += endedByLineBreak(terminalSafe(item.rawJSON));
  if (const auto* group = std::get_if<ToolInvocationGroup>(&item.detail)) {
    for (const ToolInvocation& invocation : group->invocations)
      text += endedByLineBreak(terminalSafe(invocation.rawJSON));
  }
  return text;
}

std::string usageText(const Conversation& conversation) {
  if (!conversation.lastUsedTokens) return {};
  std::string text = fmt::format("{} tokens in context", *conversation.lastUsedTokens);
  if (conversation.lastMaxTokens.value_or(0) > 0) {
    const double share =
        static_cast<double>(*conversation.lastUsedTokens) / static_cast<double>(*conversation.lastMaxTokens);
    text += fmt::format(" ({:.0f}% of {})", share * 100, *conversation.lastMaxTokens);
  }
  return text;
}

}  // namespace ravant::cli
