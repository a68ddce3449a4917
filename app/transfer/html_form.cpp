#include <fmt/format.h>

#include "app/transfer/text_blocks.hpp"
#include "app/transfer/transcript_form.hpp"
#include "platform/clock/clock.hpp"
#include "platform/text/text.hpp"

namespace ravant {
namespace {

constexpr std::string_view kHead = R"(<!DOCTYPE html>
<html>
<head>
<meta charset="utf-8">
<meta http-equiv="Content-Security-Policy" content="default-src 'none'; style-src 'unsafe-inline'; base-uri 'none'; form-action 'none'">
<meta name="referrer" content="no-referrer">
<meta name="viewport" content="width=device-width, initial-scale=1">
<meta name="color-scheme" content="light dark">
<style>
:root { color-scheme: light dark; --text: #1c1e21; --dim: #5d646d; --page: #ffffff; --quiet: #f3f4f6; --line: #d9dce1; --bad: #b3261e; }
@media (prefers-color-scheme: dark) {
  :root { --text: #e4e6ea; --dim: #9aa1ab; --page: #16181c; --quiet: #22252b; --line: #3a3f48; --bad: #ff8a80; }
}
body { margin: 2rem auto; max-width: 50rem; padding: 0 1rem; background: var(--page); color: var(--text); font: 1rem/1.5 system-ui, sans-serif; }
h1 { font-size: 1.5rem; overflow-wrap: anywhere; }
section { margin: 1.25rem 0; }
h2 { margin: 0 0 .25rem; font-size: .8rem; font-weight: 600; color: var(--dim); }
p { margin: .5rem 0; white-space: pre-wrap; overflow-wrap: anywhere; }
pre { margin: .5rem 0; padding: .75rem; background: var(--quiet); border-radius: .375rem; overflow-x: auto; font: .85rem/1.4 ui-monospace, monospace; }
.prompt { padding: .5rem .75rem; background: var(--quiet); border-left: .25rem solid var(--line); }
.failure p { color: var(--bad); }
details { margin: .25rem 0; padding: .25rem .75rem; border: 1px solid var(--line); border-radius: .375rem; }
summary { cursor: pointer; overflow-wrap: anywhere; }
dl { display: grid; grid-template-columns: max-content 1fr; gap: 0 1rem; color: var(--dim); }
dd { margin: 0; overflow-wrap: anywhere; }
</style>
)";

std::string escaped(std::string_view text) { return htmlEscaped(terminalSafe(text)); }
std::string escapedLine(std::string_view text) { return htmlEscaped(oneLine(text)); }

/// A paragraph for what stands between blank lines.
std::string paragraphs(std::string_view words) {
  const std::string safe = terminalSafe(words);
  std::string html;
  for (std::string_view rest = withoutBlankEnds(safe); !rest.empty();) {
    const std::size_t end = std::min(rest.find("\n\n"), rest.size());
    html += fmt::format("<p dir=\"auto\">{}</p>\n", htmlEscaped(rest.substr(0, end)));
    rest.remove_prefix(std::min(rest.find_first_not_of('\n', end), rest.size()));
  }
  return html;
}

std::string code(std::string_view text) { return fmt::format("<pre><code>{}</code></pre>\n", escaped(text)); }

std::string messageHtml(const ConversationItem& item, const AgentMessage& message) {
  if (message.blocks.empty()) return paragraphs(item.text);
  std::string html;
  for (const MessageBlock& block : message.blocks) {
    html += block.kind == MessageBlockKind::code ? code(block.text) : paragraphs(block.text);
  }
  return html;
}

std::string callHtml(const ToolInvocation& call) {
  std::string html = fmt::format("<details>\n<summary>{} <b><bdi>{}</bdi></b> <code><bdi>{}</bdi></code></summary>\n",
                                 statusMark(call.status), escapedLine(call.toolName), htmlEscaped(shownInput(call)));
  if (call.input) html += "<h2>Input</h2>\n" + code(*call.input);
  if (call.output) html += "<h2>Output</h2>\n" + code(*call.output);
  return html += "</details>\n";
}

std::string section(std::string_view kind, std::string_view heading, std::string_view contents) {
  return fmt::format("<section class=\"{}\">\n<h2>{}</h2>\n{}</section>\n", kind, heading, contents);
}

class HtmlForm final : public TranscriptForm {
 public:
  std::string beginning(const ExportedConversation& exported) override {
    const Conversation& conversation = exported.conversation;
    const std::string title = htmlEscaped(shownTitle(exported));
    std::string html =
        fmt::format("{}<title>{}</title>\n</head>\n<body>\n<h1><bdi>{}</bdi></h1>\n<dl>\n", kHead, title, title);
    const auto add = [&](std::string_view name, std::string_view value) {
      html += fmt::format("<dt>{}</dt><dd><bdi>{}</bdi></dd>\n", name, escapedLine(value));
    };
    add("Conversation", conversation.id.text());
    add("Project", fmt::format("{}, {}", exported.projectName, exported.projectPath));
    if (exported.agentType) add("Agent", displayName(*exported.agentType));
    if (conversation.lastUsedModel) add("Model", *conversation.lastUsedModel);
    if (const auto& item = conversation.workItem) add("About", fmt::format("{}, {}", item->name, item->url));
    add("From", iso8601(conversation.createdAt));
    add("To", iso8601(conversation.lastActivityAt));
    return html + "</dl>\n";
  }

  std::string entry(const ConversationItem& item) override {
    const std::string time = iso8601(item.createdAt);
    switch (kindOf(item)) {
      case ConversationItemKind::userMessage: {
        const std::string end = shownEnd(std::get<UserMessage>(item.detail));
        return section("prompt", fmt::format("Prompt, {}{}", time, end.empty() ? "" : ", " + end),
                       paragraphs(item.text));
      }
      case ConversationItemKind::agentMessage: {
        const auto& message = std::get<AgentMessage>(item.detail);
        const std::string model = message.agentModel ? ", <bdi>" + escapedLine(*message.agentModel) + "</bdi>" : "";
        return section("reply", fmt::format("Reply, {}{}", time, model), messageHtml(item, message));
      }
      case ConversationItemKind::toolInvocationGroup: {
        std::string calls;
        for (const ToolInvocation& call : std::get<ToolInvocationGroup>(item.detail).invocations)
          calls += callHtml(call);
        return section("tools", "Tools, " + time, calls);
      }
      case ConversationItemKind::compactionEvent:
        return section("compaction", "Compaction, " + time, paragraphs(item.text));
      case ConversationItemKind::failureEvent:
        return section("failure", "Failure, " + time, paragraphs(item.text));
    }
    __builtin_unreachable();
  }

  std::string end() override { return "</body>\n</html>\n"; }
};

}  // namespace

std::unique_ptr<TranscriptForm> htmlForm() { return std::make_unique<HtmlForm>(); }

}  // namespace ravant
