#pragma once

#include <boost/json/object.hpp>
#include <boost/json/value.hpp>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string_view>

namespace ravant {

/// The one normalised record of an agent's usage report; all counts are tokens.
///
/// Every constructor takes a report as its agent prints it and returns nothing for a report that
/// says nothing, so that an empty one never overwrites earlier figures. A missing or wrongly typed
/// count reads as 0. A report with a negative count, or a sum beyond 64 bits, says nothing that could
/// be true: it is logged and returns nothing too.
struct TokenUsageSnapshot {
  std::int64_t inputTokens = 0;
  std::int64_t outputTokens = 0;
  std::int64_t cacheReadTokens = 0;
  std::int64_t cacheCreationTokens = 0;
  std::int64_t usedTokens = 0;            ///< what occupies the context window after the turn
  std::int64_t totalProcessedTokens = 0;  ///< for the cumulative counter
  std::optional<std::int64_t> maxTokens;  ///< the size of the context window, where the source tells it

  bool operator==(const TokenUsageSnapshot&) const = default;

  /// An Anthropic-style `usage` object.
  static std::optional<TokenUsageSnapshot> fromClaudeUsage(const boost::json::object& usage,
                                                           std::optional<std::int64_t> contextWindow);
  /// The largest context window in the per-model usage map of a Claude result.
  static std::optional<std::int64_t> claudeContextWindow(const boost::json::value* modelUsage);
  /// A Codex token-count record, in camel or snake case.
  static std::optional<TokenUsageSnapshot> fromCodexTokenUsage(const boost::json::object& record);
  /// The `usage` object of a Pi message.
  static std::optional<TokenUsageSnapshot> fromPiUsage(const boost::json::object& usage);
  /// The `usage` object of a chat-completions reply.
  static std::optional<TokenUsageSnapshot> usageSnapshot(const boost::json::object& usage,
                                                         std::optional<std::int64_t> contextWindow);
};

/// The value of the first of `keys` that is present and holds a number that is an integer without
/// loss; nothing when there is none.
std::optional<std::int64_t> readOptionalInt(const boost::json::object& object,
                                            std::initializer_list<std::string_view> keys);
std::int64_t readInt(const boost::json::object& object, std::initializer_list<std::string_view> keys,
                     std::int64_t defaultValue);

}  // namespace ravant
