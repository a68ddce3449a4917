#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "core/agent_model.hpp"
#include "core/token_usage_snapshot.hpp"
#include "core/tool_invocation.hpp"
#include "core/turn_action.hpp"
#include "platform/json/json.hpp"

/// The messages of Codex's app-server, as far as runs need them.
/// Source: the program's own output and `codex app-server generate-ts`, codex-cli 0.169.0.
namespace ravant::codex {

json::object initializeParams();
/// With `threadId` for "thread/resume", without for "thread/start".
json::object threadParams(std::optional<std::string_view> threadId, std::string_view workingDirectory,
                          std::string_view model);
json::object turnStartParams(std::string_view threadId, std::string_view prompt, std::string_view model,
                             const std::optional<std::string>& effort);
json::object turnInterruptParams(std::string_view threadId, std::string_view turnId);

/// Whether a refusal to resume a thread says in so many words that there is no such thread.
bool isUnknownThread(std::string_view refusal);

/// Of a result or of a notification; nothing where there is none, or an empty one.
std::optional<std::string> extractThreadId(const json::object& params);
std::optional<std::string> extractTurnId(const json::object& params);

/// A message of the agent.
struct MessageItem {
  std::optional<std::string> id;
  std::string text;
};
/// A tool call; each kind of item has its own fields for what is called, with what, and what came of it.
struct ToolItem {
  std::string callId;
  std::string name;
  std::optional<std::string> input;   ///< where the event tells it
  std::optional<std::string> output;  ///< likewise; all of it up to now
  std::optional<std::int64_t> exitCode;
  ToolInvocationStatus status = ToolInvocationStatus::running;
};
/// The thread's context was compacted.
struct CompactionItem {};

/// What is said of an item: that it has begun, has changed or is complete.
enum class ItemStage { started, updated, completed };
struct ItemEvent {
  ItemStage stage;
  std::variant<MessageItem, ToolItem, CompactionItem> item;
};

/// A message grows.
struct MessageDelta {
  std::optional<std::string> itemId;
  std::string text;
};
/// The model's reasoning grows.
struct ReasoningDelta {
  std::string part;  ///< which of its texts
  std::string text;
};
/// The output of a running command grows.
struct OutputDelta {
  std::string callId;
  std::string text;
};
struct UsageEvent {
  TokenUsageSnapshot usage;
};
/// Why a model call or a turn failed, in the server's words.
struct Failure {
  std::string message = "unknown";
  std::optional<std::string> details = {};
  FailureCause cause = FailureCause::error;
};
/// A model call failed; the turn goes on where it is tried again.
struct ErrorEvent {
  Failure failure;
  bool willRetry = false;
};
/// A turn is over.
struct TurnEnded {
  std::optional<std::string> turnId;
  bool failed = false;
  std::optional<Failure> failure = {};  ///< where it is told with the end
};

using Event = std::variant<ItemEvent, MessageDelta, ReasoningDelta, OutputDelta, UsageEvent, ErrorEvent, TurnEnded>;

/// Nothing for a notification that says nothing of a transcript.
std::optional<Event> parseNotification(std::string_view method, const json::object& params);

json::object modelListParams(const std::optional<std::string>& cursor);
/// Those of one page of "model/list" that are offered to users.
std::vector<ProbedModel> modelsOf(const json::object& page);
/// Where the next page begins; nothing behind the last.
std::optional<std::string> nextCursor(const json::object& page);

/// The answer to a request of the server: everything is allowed that it asks leave for, and nothing else is served.
std::optional<json::object> answerTo(std::string_view method);

}  // namespace ravant::codex
