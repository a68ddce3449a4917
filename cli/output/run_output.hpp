#pragma once

#include <memory>
#include <string>

#include "cli/output/output.hpp"
#include "core/agent_type.hpp"
#include "core/conversation_item.hpp"
#include "core/project.hpp"
#include "core/prompt_end_reason.hpp"
#include "core/run_state.hpp"
#include "core/store/change_feed.hpp"
#include "core/store/conversation_model_actor.hpp"

namespace ravant::cli {

struct RunStart {
  ConversationId conversation;
  Project project;
  AgentType agent;
  std::string model;
};

/// Shows a run as it happens; what was handed over has reached the output when a function returns. All throw what
/// `Output::flush` throws.
class RunOutput {
 public:
  virtual ~RunOutput() = default;

  virtual void started(const RunStart& start) = 0;
  /// A new entry; a tool group comes empty, its calls follow.
  virtual void item(const ConversationItem& item) = 0;
  /// What came to the message that the agent is writing, whose whole follows as an item unless the run ends before; or
  /// to its reasoning, of which nothing follows.
  virtual void growth(const Growth& growth) = 0;
  /// A tool call that is new or has changed in more than its output.
  virtual void invocation(const ToolInvocation& invocation) = 0;
  /// What a running tool call printed since it was shown last.
  virtual void toolOutput(ToolInvocationId invocation, std::string_view text) = 0;
  /// What the run does or waits for now.
  virtual void state(const RunState& state) = 0;
  /// Shows anew what tells of time.
  virtual void tick() = 0;
  virtual void usage(const ConversationSummary& conversation) = 0;
  virtual void finished(PromptEndReason reason) = 0;

  /// Output and clock outlive it.
  static std::unique_ptr<RunOutput> make(OutputFormat format, Output& output, const Clock& clock);
};

}  // namespace ravant::cli
