#include "core/token_usage_snapshot.hpp"

#include <algorithm>

#include "platform/json/json.hpp"
#include "platform/log/log.hpp"

namespace ravant {
namespace {

using boost::json::object;

constexpr Log kLog("com.ravant.core", "TokenUsageSnapshot");

/// Nothing where no number of tokens is the sum of these.
std::optional<std::int64_t> sum(std::initializer_list<std::int64_t> counts) {
  std::int64_t total = 0;
  for (const std::int64_t count : counts) {
    if (count < 0 || __builtin_add_overflow(total, count, &total)) return std::nullopt;
  }
  return total;
}

std::optional<TokenUsageSnapshot> dropped() {
  kLog.warning("a usage report is dropped: no number of tokens can be what it says");
  return std::nullopt;
}

std::int64_t count(const object& usage, std::string_view key) { return readInt(usage, {key}, 0); }

void applyContextWindow(TokenUsageSnapshot& snapshot, std::optional<std::int64_t> window) {
  if (!window || *window <= 0) return;
  snapshot.maxTokens = window;
  snapshot.usedTokens = std::min(snapshot.usedTokens, *window);
}

const object* codexInfo(const object& record) {
  if (const object* usage = objectAt(record, "usage")) return usage;
  if (const object* info = objectAt(record, "info")) return info;
  const object* payload = objectAt(record, "payload");
  const object* nested = payload ? objectAt(*payload, "info") : nullptr;
  return nested ? nested : &record;
}

const object* firstObject(const object& parent, std::string_view key, std::string_view otherKey) {
  const object* found = objectAt(parent, key);
  return found ? found : objectAt(parent, otherKey);
}

}  // namespace

std::optional<std::int64_t> readOptionalInt(const object& object, std::initializer_list<std::string_view> keys) {
  for (const std::string_view key : keys) {
    if (const auto* value = object.if_contains(key)) {
      if (const auto integer = exactInteger(*value)) return integer;
    }
  }
  return std::nullopt;
}

std::int64_t readInt(const object& object, std::initializer_list<std::string_view> keys, std::int64_t defaultValue) {
  return readOptionalInt(object, keys).value_or(defaultValue);
}

std::optional<TokenUsageSnapshot> TokenUsageSnapshot::fromClaudeUsage(const object& usage,
                                                                      std::optional<std::int64_t> contextWindow) {
  const std::int64_t input = count(usage, "input_tokens");
  const std::int64_t output = count(usage, "output_tokens");
  const std::int64_t creation = count(usage, "cache_creation_input_tokens");
  const std::int64_t cacheRead = count(usage, "cache_read_input_tokens");
  if (input == 0 && output == 0 && creation == 0 && cacheRead == 0) return std::nullopt;

  const auto inputs = sum({input, creation, cacheRead});
  const auto counted = sum({input, creation, cacheRead, output});
  const std::int64_t total = readInt(usage, {"total_tokens"}, counted.value_or(0));
  if (!inputs || !counted || total < 0) return dropped();

  TokenUsageSnapshot snapshot{.inputTokens = *inputs,
                              .outputTokens = output,
                              .cacheReadTokens = cacheRead,
                              .cacheCreationTokens = creation,
                              .usedTokens = total,
                              .totalProcessedTokens = total};
  applyContextWindow(snapshot, contextWindow);
  return snapshot;
}

std::optional<std::int64_t> TokenUsageSnapshot::claudeContextWindow(const boost::json::value* modelUsage) {
  const object* models = asObject(modelUsage);
  if (!models) return std::nullopt;
  std::optional<std::int64_t> largest;
  for (const auto& [model, usage] : *models) {
    const object* perModel = asObject(&usage);
    if (!perModel) return std::nullopt;
    const std::int64_t window = count(*perModel, "contextWindow");
    if (window > 0) largest = std::max(window, largest.value_or(window));
  }
  return largest;
}

std::optional<TokenUsageSnapshot> TokenUsageSnapshot::fromCodexTokenUsage(const object& record) {
  const object& info = *codexInfo(record);
  const auto window = readOptionalInt(info, {"modelContextWindow", "model_context_window"});
  const object* last = firstObject(info, "last", "last_token_usage");
  if (!last) return std::nullopt;
  const object* total = firstObject(info, "total", "total_token_usage");

  const std::int64_t input = readInt(*last, {"inputTokens", "input_tokens"}, 0);
  const std::int64_t output = readInt(*last, {"outputTokens", "output_tokens"}, 0);
  const std::int64_t cached = readInt(*last, {"cachedInputTokens", "cached_input_tokens"}, 0);
  const auto counted = sum({input, output});
  const std::int64_t lastTotal = readInt(*last, {"totalTokens", "total_tokens"}, counted.value_or(0));
  const std::int64_t running = total ? readInt(*total, {"totalTokens", "total_tokens"}, lastTotal) : lastTotal;
  if (!counted || cached < 0 || lastTotal < 0 || running < 0) return dropped();
  if (lastTotal == 0 && running == 0) return std::nullopt;

  TokenUsageSnapshot snapshot{.inputTokens = std::max<std::int64_t>(input - cached, 0),
                              .outputTokens = output,
                              .cacheReadTokens = cached,
                              .usedTokens = lastTotal,
                              .totalProcessedTokens = std::max(running, lastTotal)};
  applyContextWindow(snapshot, window);
  return snapshot;
}

std::optional<TokenUsageSnapshot> TokenUsageSnapshot::fromPiUsage(const object& usage) {
  const std::int64_t input = count(usage, "input");
  const std::int64_t output = count(usage, "output");
  const std::int64_t cacheRead = count(usage, "cacheRead");
  const std::int64_t cacheWrite = count(usage, "cacheWrite");
  const auto counted = sum({input, cacheRead, cacheWrite, output});
  const std::int64_t reported = readInt(usage, {"totalTokens"}, counted.value_or(0));
  if (!counted || reported < 0) return dropped();
  if (input == 0 && output == 0 && cacheRead == 0 && cacheWrite == 0 && reported == 0) return std::nullopt;

  return TokenUsageSnapshot{.inputTokens = input,
                            .outputTokens = output,
                            .cacheReadTokens = cacheRead,
                            .cacheCreationTokens = cacheWrite,
                            .usedTokens = reported,
                            .totalProcessedTokens = std::max(*counted, reported)};
}

std::optional<TokenUsageSnapshot> TokenUsageSnapshot::usageSnapshot(const object& usage,
                                                                    std::optional<std::int64_t> contextWindow) {
  const std::int64_t prompt = count(usage, "prompt_tokens");
  const std::int64_t completion = count(usage, "completion_tokens");
  const auto counted = sum({prompt, completion});
  const std::int64_t total = readInt(usage, {"total_tokens"}, counted.value_or(0));
  if (!counted || total < 0) return dropped();
  if (prompt == 0 && completion == 0 && total == 0) return std::nullopt;

  TokenUsageSnapshot snapshot{
      .inputTokens = prompt, .outputTokens = completion, .usedTokens = total, .totalProcessedTokens = total};
  applyContextWindow(snapshot, contextWindow);
  return snapshot;
}

}  // namespace ravant
