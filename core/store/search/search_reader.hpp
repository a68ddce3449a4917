#pragma once

#include <array>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>
#include <string_view>
#include <vector>

#include "core/agent_type.hpp"
#include "core/conversation_item.hpp"
#include "core/store/search/search_snippet.hpp"
#include "core/store/store_actor.hpp"

namespace ravant {

class SearchReadings;

/// What a search is narrowed to: items of a kind, the tool calls as `toolInvocationGroup`, or parts of what there is.
enum class SearchKind {
  userMessage,
  agentMessage,
  toolInvocationGroup,
  compactionEvent,
  failureEvent,
  code,  ///< the code blocks of messages
  toolInput,
  toolOutput
};

inline constexpr std::array kSearchKinds = {
    SearchKind::userMessage,  SearchKind::agentMessage, SearchKind::toolInvocationGroup, SearchKind::compactionEvent,
    SearchKind::failureEvent, SearchKind::code,         SearchKind::toolInput,           SearchKind::toolOutput};

std::string_view rawValue(SearchKind kind);
std::optional<SearchKind> searchKindFromRawValue(std::string_view text);

enum class ToolFilter { all, failed };

struct SearchQuery {
  std::string text;
  LastWord lastWord = LastWord::whole;
  std::optional<ProjectId> project = {};
  std::optional<AgentType> agent = {};
  std::optional<SearchKind> kind = {};
  ToolFilter tools = ToolFilter::all;  ///< `failed` finds nothing but tool calls
  std::optional<Timestamp> since = {};
  std::optional<Timestamp> until = {};  ///< not itself
  std::int64_t limit = 20;
};

/// An item, or one tool call of a group, in which all is that was searched for.
struct SearchHit {
  ConversationId conversation;
  ConversationItemId item;
  std::optional<ToolInvocationId> invocation;
  ConversationItemKind kind;
  Timestamp createdAt;
  SearchSnippet snippet;

  bool operator==(const SearchHit&) const = default;
};

struct SearchResult {
  std::vector<SearchHit> hits = {};  ///< the best first; among equals the newest
  bool hadWords = true;              ///< a search without a letter or digit finds nothing
  bool isComplete = true;            ///< false where the search was stopped
};

/// Searches what is stored, on a connection of its own. All throw `StoreError`.
class SearchReader : public StoreActor<SearchReadings> {
 public:
  static std::shared_ptr<SearchReader> make(std::shared_ptr<ModelContainer> modelContainer);
  explicit SearchReader(std::shared_ptr<ModelContainer> modelContainer);
  ~SearchReader() override;

  /// Finds what is in the index and, as it stands now, matches. Where there are many, only some dozens of the newest
  /// compete for being the best; the newest by their week, which is that of a session's file where it was imported.
  /// A search for which very much has to be looked at can take seconds; it ends soon after `stop` was requested.
  awaitable<SearchResult> search(SearchQuery query, std::stop_token stop = {});
};

}  // namespace ravant
