#include "cli/commands/search_commands.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <map>
#include <set>

#include "cli/command/lookup.hpp"
#include "cli/command/past_time.hpp"
#include "cli/output/conversation_text.hpp"
#include "cli/output/search_text.hpp"
#include "core/conversation_state.hpp"

namespace ravant::cli {
namespace {

using std::chrono::steady_clock;

constexpr std::chrono::seconds kToldAfter{1};
constexpr std::chrono::seconds kBroughtUpToDateFor{10};

/// Takes what is not indexed yet into the index; tells where that takes long or cannot be finished.
awaitable<void> bringUpToDate(CommandContext& context) {
  SearchIndex& index = context.application().searchIndex();
  std::string reason = "the store cannot be written";
  if (context.application().modelContainer()->isWritable()) {
    const auto begun = steady_clock::now();
    bool isTold = false;
    try {
      while (co_await index.takeInSome()) {
        const auto taken = steady_clock::now() - begun;
        if (taken > kToldAfter && !std::exchange(isTold, true)) context.note("Taking what is new into the index …");
        if (taken > kBroughtUpToDateFor) break;
      }
      reason = "search again to go on with them";
    } catch (const StoreError& error) {
      reason = error.what();
    }
  }
  if (const std::int64_t waiting = co_await index.waiting(); waiting > 0) {
    context.warn(
        fmt::format("about {} entries are not searched, for they are not in the index yet: {}", waiting, reason));
  }
}

awaitable<std::map<ConversationId, std::string>> titlesOf(CommandContext& context, const std::vector<SearchHit>& hits) {
  std::map<ConversationId, std::string> titles;
  for (const SearchHit& hit : hits) {
    if (titles.contains(hit.conversation)) continue;
    const auto summary = co_await context.application().conversations().conversation(hit.conversation);
    if (summary) titles.emplace(hit.conversation, displayTitle(*summary));
  }
  co_return titles;
}

json::array formsOf(const std::vector<SearchHit>& hits) {
  json::array forms;
  for (const SearchHit& hit : hits) forms.push_back(jsonForm(hit));
  return forms;
}

std::optional<Timestamp> timeOf(const Arguments& arguments, std::string_view option) {
  const auto word = arguments.optional(option);
  if (!word) return std::nullopt;
  return pastTime(option, *word, SystemClock().now());
}

awaitable<ExitStatus> search(CommandContext& context, Arguments arguments) {
  SearchQuery query{.text = arguments.text("TEXT"),
                    .tools = arguments.has("--failed") ? ToolFilter::failed : ToolFilter::all,
                    .since = timeOf(arguments, "--since"),
                    .until = timeOf(arguments, "--until")};
  if (const auto type = arguments.optional("--agent")) query.agent = agentTypeFromRawValue(*type);
  if (const auto kind = arguments.optional("--kind")) query.kind = searchKindFromRawValue(*kind);
  if (const auto limit = arguments.count("--limit")) query.limit = *limit;
  query.project = co_await findOptionalProject(context.application(), arguments.optional("--project"));

  co_await bringUpToDate(context);
  const SearchResult result = co_await context.application().searchReader().search(std::move(query));
  if (!result.hadWords) {
    context.warn("a search needs a letter or a digit; \"ravant conversation find\" finds symbols in one conversation");
  }
  if (context.wantsJson()) {
    context.output.json(formsOf(result.hits));
  } else {
    context.output.write(hitsText(result.hits, co_await titlesOf(context, result.hits), context.output.style()));
  }
  co_return ExitStatus::done;
}

awaitable<std::vector<NumberedHit>> numbered(CommandContext& context, ConversationId conversation,
                                             std::vector<SearchHit> hits) {
  TranscriptReader& transcripts = context.application().transcripts();
  const std::int64_t entries = co_await transcripts.count(conversation);
  std::vector<NumberedHit> found;
  for (SearchHit& hit : hits) {
    const auto before = co_await transcripts.position(hit.item);
    if (before) found.push_back({.hit = std::move(hit), .entry = *before + 1, .entries = entries});
  }
  co_return found;
}

awaitable<ExitStatus> find(CommandContext& context, Arguments arguments) {
  const ConversationSummary summary = co_await findConversation(context.application(), arguments.text("CONV"));
  const ConversationId id = summary.conversation.id;
  TranscriptFinder& finder = context.application().transcriptFinder();
  const std::string text = arguments.text("TEXT");
  const auto direction = arguments.has("--last") ? FindDirection::previous : FindDirection::next;
  const auto count = co_await finder.count(id, text);
  const std::int64_t most = std::min(count.items, arguments.count("--last").value_or(count.items));
  std::vector<SearchHit> hits;
  std::set<ConversationItemId> known;
  while (std::ssize(hits) < most) {
    const auto from = hits.empty() ? std::nullopt : std::optional(hits.back().item);
    auto hit = co_await finder.find(id, text, from, direction);
    // Round the end, or what changed meanwhile.
    if (!hit || !known.insert(hit->item).second) break;
    hits.push_back(std::move(*hit));
  }
  if (direction == FindDirection::previous) std::ranges::reverse(hits);
  if (context.wantsJson()) {
    context.output.json(json::object{{"count", count.items}, {"items", formsOf(hits)}});
    co_return ExitStatus::done;
  }
  const bool hasFound = !hits.empty();
  context.output.write(hitsText(co_await numbered(context, id, std::move(hits)), context.output.style()));
  context.note(fmt::format("{} of {} entries.", count.items, summary.items));
  if (hasFound) context.note(fmt::format("To read on from one: ravant conversation show {} --last N", shortId(id)));
  co_return ExitStatus::done;
}

}  // namespace

Command searchCommand() {
  return {.name = "search",
          .summary = "Find words in every message, code block, tool input and output",
          .description =
              "Finds the entries in which all the words are, the best first. Words are found whole and as parts of "
              "names: parser is in MyParser, my_parser and parser.cpp. A star stands for the rest of a word (pars*), "
              "and texts in quotes or with symbols (\"a phrase\", c++, --flag) for themselves. Case and accents do "
              "not matter. Where many entries have the words, the newest 60 messages and the newest 60 tool calls "
              "compete for being the best.",
          .positionals = {{.name = "TEXT"}},
          .options = {{.name = "--project",
                       .value = "PROJECT",
                       .description = "Only in this project",
                       .kind = ValueKind::folder},
                      {.name = "--agent",
                       .value = "TYPE",
                       .description = "Only in conversations with this agent",
                       .kind = ValueKind::agentType},
                      {.name = "--kind",
                       .value = "KIND",
                       .description = "Only in entries of this kind, in code blocks of replies, or in what goes "
                                      "into tools or comes out of them",
                       .kind = ValueKind::searchKind},
                      {.name = "--failed", .description = "Only in tool calls that failed"},
                      {.name = "--since", .value = "TIME", .description = "Only from this time, day or age (2d) on"},
                      {.name = "--until", .value = "TIME", .description = "Only before it"},
                      {.name = "--limit",
                       .value = "N",
                       .description = "At most N, 20 where it is not given",
                       .kind = ValueKind::count}},
          .run = search};
}

Command findCommand() {
  return {.name = "find",
          .summary = "Find characters in one conversation, oldest entry first",
          .description =
              "Finds the text as it stands, symbols and all; case and accents do not matter. Each entry comes with its "
              "number and with the --last that makes \"ravant conversation show\" begin with it.",
          .positionals = {{.name = "CONV"}, {.name = "TEXT"}},
          .options = {{.name = "--last",
                       .value = "N",
                       .description = "Only the last N entries with it",
                       .kind = ValueKind::count}},
          .run = find};
}

}  // namespace ravant::cli
