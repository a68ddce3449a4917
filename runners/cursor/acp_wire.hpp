#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "core/agent_model.hpp"
#include "core/growth.hpp"
#include "core/token_usage_snapshot.hpp"
#include "core/tool_invocation.hpp"
#include "platform/json/json.hpp"

/// The messages of the Agent Client Protocol, version 1, as far as runs need them.
/// Source: the protocol's own pages (initialization, session setup, prompt turn, tool calls, session config options)
/// and what agents print, opencode 1.18.33 and the protocol's SDK 1.9.0.
namespace ravant::acp {

json::object initializeParams();
/// The way to log in among those that `initialize` tells: the user's login at Cursor where it is one of them.
std::string authMethod(const json::object& initialized);
json::object authenticateParams(std::string_view method);
/// With `sessionId` for "session/load", without for "session/new".
json::object sessionParams(std::optional<std::string_view> sessionId, std::string_view workingDirectory);
/// Nothing where it tells none.
std::optional<std::string> sessionIdOf(const json::object& object);
json::object promptParams(std::string_view sessionId, std::string_view prompt);
json::object cancelParams(std::string_view sessionId);
json::object setConfigOptionParams(std::string_view sessionId, std::string_view configId, std::string_view value);

/// Something that can be chosen for a session, such as its model.
struct ConfigOption {
  struct Value {
    std::string value;
    std::string name;
    bool operator==(const Value&) const = default;
  };
  std::string id;
  std::string category;
  std::string currentValue;
  std::vector<Value> values;  ///< those of groups too
  bool operator==(const ConfigOption&) const = default;
};
/// Those of a result or an update; nothing where it tells none.
std::optional<std::vector<ConfigOption>> configOptions(const json::object& params);
/// What can be chosen as the model, the session's own first, each with the efforts that are offered now.
std::vector<ProbedModel> modelsOf(const std::vector<ConfigOption>& options);
/// Null where there is none.
const ConfigOption* modelOption(const std::vector<ConfigOption>& options);
const ConfigOption* effortOption(const std::vector<ConfigOption>& options);
/// The value whose own text or name is the requested one, however it is spelled.
std::optional<std::string> matchOptionValue(const ConfigOption& option, std::string_view requested);

/// A piece of what the agent says or thinks.
struct MessageChunk {
  GrowthKind kind = GrowthKind::message;
  std::optional<std::string> messageId;
  std::string text;
};
/// A tool call or a change of one; what is absent is unchanged.
struct ToolCall {
  std::optional<std::string> id;
  bool isNew = false;
  std::optional<std::string> title;
  std::optional<std::string> kind;
  std::optional<std::string> input;      ///< JSON
  std::optional<std::string> output;     ///< all that is to be shown up to now
  std::optional<std::string> rawOutput;  ///< what stands for it where nothing is to be shown
  std::optional<ToolInvocationStatus> status;
};
/// What fills the model's context.
struct ContextUsage {
  std::int64_t used = 0;
  std::int64_t size = 0;  ///< 0 where it is not known
};
struct ConfigChange {
  std::vector<ConfigOption> options;
};
/// The agent's context was compacted.
struct Compaction {};
/// Of no interest to a transcript, or of a kind that is not known.
struct NotRendered {
  std::string kind;
};
using Update = std::variant<MessageChunk, ToolCall, ContextUsage, ConfigChange, Compaction, NotRendered>;
Update parseUpdate(const json::object& update);

/// Blocks of text, of files and of differences, in their order; images are only named.
std::string toolOutputText(const json::array& content);

/// How a prompt ended.
struct PromptEnd {
  std::string stopReason;
  std::optional<TokenUsageSnapshot> usage;
};
PromptEnd parsePromptEnd(const json::object& result);

/// The answer to "session/request_permission": the first option that allows, or none.
json::object permissionGranted(const json::object& params);
json::object permissionCancelled();

}  // namespace ravant::acp
