#include "cli/output/search_text.hpp"

#include <fmt/format.h>

#include "cli/output/conversation_text.hpp"
#include "cli/output/terminal_text.hpp"
#include "platform/clock/local_time.hpp"
#include "platform/text/text.hpp"

namespace ravant::cli {
namespace {

constexpr std::size_t kLongestTitle = 60;

std::string_view wordFor(const SearchHit& hit) {
  switch (hit.kind) {
    case ConversationItemKind::userMessage:
      return "prompt";
    case ConversationItemKind::agentMessage:
      return "reply";
    case ConversationItemKind::toolInvocationGroup:
      return "tool";
    case ConversationItemKind::compactionEvent:
      return "compaction";
    case ConversationItemKind::failureEvent:
      return "failure";
  }
  __builtin_unreachable();
}

}  // namespace

json::object jsonForm(const SearchHit& hit) {
  json::object form{{"conversation", hit.conversation.text()}, {"item", hit.item.text()}};
  if (hit.invocation) form.emplace("invocation", hit.invocation->text());
  form.emplace("kind", rawValue(hit.kind));
  form.emplace("createdAt", iso8601(hit.createdAt));
  form.emplace("snippet", hit.snippet.text);
  return form;
}

std::string hitsText(const std::vector<SearchHit>& hits, const std::map<ConversationId, std::string>& titles,
                     const Style& style) {
  std::string text;
  for (const SearchHit& hit : hits) {
    const std::string where =
        fmt::format("{}  {}  {:<10}", shortId(hit.conversation), localTime(hit.createdAt), wordFor(hit));
    const auto title = titles.find(hit.conversation);
    const std::string name = title == titles.end() ? "" : cutToWidth(oneLine(title->second), kLongestTitle);
    text += fmt::format("{}  {}\n    {}\n", style.dim(where), name, snippetText(hit.snippet, style));
  }
  return text;
}

std::string hitsText(const std::vector<NumberedHit>& hits, const Style& style) {
  std::string text;
  for (const auto& [hit, entry, entries] : hits) {
    const std::string where = fmt::format("entry {} of {} (--last {})  {}  {}", entry, entries, entries - entry + 1,
                                          localTime(hit.createdAt), wordFor(hit));
    text += fmt::format("{}\n    {}\n", style.dim(where), snippetText(hit.snippet, style));
  }
  return text;
}

std::string snippetText(const SearchSnippet& snippet, const Style& style) {
  std::string text;
  std::size_t at = 0;
  for (const auto& [begin, end] : snippet.marks) {
    text += terminalSafe(snippet.text.substr(at, begin - at));
    text += style.good(terminalSafe(snippet.text.substr(begin, end - begin)));
    at = end;
  }
  return text + terminalSafe(snippet.text.substr(at));
}

}  // namespace ravant::cli
