#include <fmt/format.h>

#include <utility>

#include "cli/command/command.hpp"
#include "cli/command/lookup.hpp"
#include "cli/command/seen_mark.hpp"
#include "cli/command/user_input.hpp"
#include "cli/commands/conversation_transfer_commands.hpp"
#include "cli/commands/search_commands.hpp"
#include "cli/output/command_error.hpp"
#include "cli/output/conversation_text.hpp"
#include "cli/output/json_form.hpp"
#include "cli/output/terminal_text.hpp"
#include "cli/output/transcript_text.hpp"
#include "core/conversation_state.hpp"
#include "core/store/transcript_pages.hpp"
#include "platform/clock/local_time.hpp"
#include "platform/text/text.hpp"

namespace ravant::cli {
namespace {

std::string agentWord(const ConversationSummary& summary) {
  return summary.agentType ? std::string(rawValue(*summary.agentType)) : "-";
}

std::string titleColumn(const ConversationSummary& summary) {
  std::string text = displayTitle(summary);
  const auto& item = summary.conversation.workItem;
  if (item && item->name != text) text = fmt::format("{} · {}", item->name, text);
  const std::string mark = stateMark(summary);
  return mark.empty() ? text : fmt::format("({}) {}", mark, text);
}

awaitable<void> show(CommandContext& context, ConversationId id, std::string_view what) {
  const auto summary = co_await context.application().conversations().conversation(id);
  if (!summary) throw CommandError("the conversation is gone");
  if (context.wantsJson()) {
    context.output.json(jsonForm(*summary));
  } else {
    context.output.line(
        oneLine(fmt::format("{} {} ({})", what, displayTitle(*summary), shortId(summary->conversation.id))));
  }
}

ArchivedConversations archivedChoice(const Arguments& arguments) {
  if (arguments.has("--all") && arguments.has("--archived")) {
    throw UsageError("--archived and --all exclude each other");
  }
  if (arguments.has("--all")) return ArchivedConversations::included;
  return arguments.has("--archived") ? ArchivedConversations::only : ArchivedConversations::left;
}

awaitable<ExitStatus> list(CommandContext& context, Arguments arguments) {
  const ArchivedConversations archived = archivedChoice(arguments);
  const auto project = co_await findOptionalProject(context.application(), arguments.optional("--project"));
  const std::vector<ConversationSummary> found = co_await context.application().conversations().conversations(
      {.project = project, .archived = archived, .limit = arguments.count("--limit")});
  if (context.wantsJson()) {
    context.output.json(jsonForms(found));
    co_return ExitStatus::done;
  }
  Table table({"ID", "ACTIVITY", "AGENT", "PROJECT", "ITEMS", "TITLE"}, {0});
  for (const ConversationSummary& summary : found) {
    const Conversation& conversation = summary.conversation;
    table.add({shortId(conversation.id), localTime(conversation.lastActivityAt), agentWord(summary),
               summary.projectName, std::to_string(summary.items), titleColumn(summary)});
  }
  context.output.write(table.text(context.output.style()));
  co_return ExitStatus::done;
}

void showHead(CommandContext& context, const ConversationSummary& summary) {
  const Style& style = context.output.style();
  const Conversation& conversation = summary.conversation;
  context.output.line(style.bold(oneLine(displayTitle(summary))));
  context.output.line(style.dim(oneLine(fmt::format("{} · {} · {} · {}", conversation.id.text(), summary.projectName,
                                                    agentWord(summary), localTime(conversation.createdAt)))));
  if (const auto& item = conversation.workItem) {
    context.output.line(style.dim(oneLine(fmt::format("{} · {}", item->name, item->url))));
  }
}

/// How the latest prompt ended stands behind what came of it. Returns the last item that was shown, unless something
/// unread stands before the first.
awaitable<std::optional<ConversationItemId>> showText(CommandContext& context, ConversationSummary summary,
                                                      TranscriptPages pages, RawRecords records,
                                                      std::optional<ConversationItemId> firstUnread) {
  const Style& style = context.output.style();
  showHead(context, summary);
  std::string end;  // of the latest prompt
  const auto showEnd = [&](std::string next) {
    const std::string text = std::exchange(end, std::move(next));
    if (!text.empty()) context.output.line("");
    context.output.write(text);
  };
  std::optional<ConversationItemId> last;
  bool hasShownUnread = !firstUnread;
  for (auto page = co_await pages.next(); !page.empty(); page = co_await pages.next()) {
    for (ConversationItem& item : page) {
      hasShownUnread = hasShownUnread || item.id == firstUnread;
      if (!std::exchange(last, item.id)) {
        const auto prompt = co_await context.application().transcripts().promptOf(item.id);
        if (prompt) end = endText(*prompt, style);
      } else if (kindOf(item) == ConversationItemKind::userMessage) {
        showEnd(endText(item, style));
      }
      context.output.line("");
      context.output.write(records == RawRecords::included ? rawText(item)
                                                           : itemText(item, style, ToolOutput::complete));
      item = {};
    }
    context.output.flush();
  }
  showEnd({});
  if (const std::string usage = usageText(summary.conversation); !usage.empty()) {
    context.output.line("");
    context.output.line(style.dim(usage));
  }
  co_return hasShownUnread ? last : std::nullopt;
}

awaitable<void> showJson(CommandContext& context, ConversationSummary summary, TranscriptPages pages,
                         RawRecords records) {
  context.output.write("{\"conversation\":");
  context.output.jsonPart(jsonForm(summary));
  context.output.write(",\"items\":[");
  bool isFirst = true;
  for (auto page = co_await pages.next(); !page.empty(); page = co_await pages.next()) {
    for (ConversationItem& item : page) {
      if (!std::exchange(isFirst, false)) context.output.write(",");
      context.output.jsonPart(jsonForm(item, records));
      item = {};
    }
    context.output.flush();
  }
  context.output.line("]}");
}

awaitable<ExitStatus> showTranscript(CommandContext& context, Arguments arguments) {
  const ConversationSummary summary = co_await findConversation(context.application(), arguments.text("CONV"));
  const ConversationId id = summary.conversation.id;
  TranscriptReader& reader = context.application().transcripts();
  std::optional<ConversationItemId> before;
  if (const auto last = arguments.count("--last")) before = co_await reader.beforeLast(id, *last);
  const TranscriptPages pages(reader, id, before);
  const RawRecords records = arguments.has("--raw") ? RawRecords::included : RawRecords::left;
  if (context.wantsJson()) {
    co_await showJson(context, summary, pages, records);
  } else {
    const auto firstUnread = co_await context.application().conversations().firstUnread(id);
    const auto last = co_await showText(context, summary, pages, records, firstUnread);
    if (last) co_await markSeen(context.application(), id, *last);
    if (co_await context.application().conversations().isRunElsewhere(summary.conversation.id)) {
      context.output.line(context.output.style().dim("A prompt is running in this conversation."));
    }
  }
  co_return ExitStatus::done;
}

awaitable<ExitStatus> rename(CommandContext& context, Arguments arguments) {
  const ConversationSummary summary = co_await findConversation(context.application(), arguments.text("CONV"));
  co_await context.application().conversations().renameConversation(summary.conversation.id,
                                                                    titleFrom(arguments.text("TITLE")));
  co_await show(context, summary.conversation.id, "Renamed to");
  co_return ExitStatus::done;
}

awaitable<ExitStatus> archive(CommandContext& context, Arguments arguments) {
  const ConversationSummary summary = co_await findConversation(context.application(), arguments.text("CONV"));
  co_await context.application().conversations().archiveConversation(summary.conversation.id);
  co_await show(context, summary.conversation.id, "Archived");
  co_return ExitStatus::done;
}

awaitable<ExitStatus> unarchive(CommandContext& context, Arguments arguments) {
  const ConversationSummary summary = co_await findConversation(context.application(), arguments.text("CONV"));
  co_await context.application().conversations().unarchiveConversation(summary.conversation.id);
  co_await show(context, summary.conversation.id, "Unarchived");
  co_return ExitStatus::done;
}

awaitable<ExitStatus> remove(CommandContext& context, Arguments arguments) {
  const ConversationSummary summary = co_await findConversation(context.application(), arguments.text("CONV"));
  confirm(arguments, oneLine(fmt::format("Delete the conversation {} with its entries ({})?", displayTitle(summary),
                                         summary.items)));
  co_await context.application().conversations().deleteConversation(summary.conversation.id);
  if (context.wantsJson()) {
    context.output.json(jsonForm(summary));
  } else {
    context.output.line(oneLine(fmt::format("Deleted {}", displayTitle(summary))));
  }
  co_return ExitStatus::done;
}

}  // namespace

CommandGroup conversationCommands() {
  const PositionalDescription conversation = {.name = "CONV"};
  return {
      .name = "conversation",
      .summary = "What was said and done",
      .commands = {
          {.name = "list",
           .summary = "List conversations, latest activity first",
           .options = {{.name = "--project",
                        .value = "PROJECT",
                        .description = "Only those of this project",
                        .kind = ValueKind::folder},
                       {.name = "--archived", .description = "Only the archived ones"},
                       {.name = "--all", .description = "The archived ones too"},
                       {.name = "--limit", .value = "N", .description = "At most N", .kind = ValueKind::count}},
           .run = list},
          {.name = "show",
           .summary = "Show a transcript, oldest entry first",
           .positionals = {conversation},
           .options =
               {{.name = "--last", .value = "N", .description = "Only the last N entries", .kind = ValueKind::count},
                {.name = "--raw", .description = "The agent's own records too"}},
           .run = showTranscript},
          searchCommand(),
          findCommand(),
          {.name = "rename",
           .summary = "Give a conversation a title",
           .description = "An empty title takes the present one away.",
           .positionals = {conversation, {.name = "TITLE"}},
           .run = rename},
          {.name = "archive", .summary = "Put a conversation away", .positionals = {conversation}, .run = archive},
          {.name = "unarchive", .summary = "Take it out again", .positionals = {conversation}, .run = unarchive},
          {.name = "delete",
           .summary = "Delete a conversation and its transcript",
           .description = "Asks first on a terminal.",
           .positionals = {conversation},
           .options = {{.name = "--yes", .description = "Do not ask"}},
           .run = remove},
          exportCommand(),
          conversationImportCommand()}};
}

}  // namespace ravant::cli
