#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "cli/output/output.hpp"
#include "core/growth.hpp"
#include "core/run_state.hpp"
#include "core/tool_invocation.hpp"

namespace ravant::cli {

/// The last line of a terminal, which says what a run does or waits for, since when, and the last words of what it
/// prints meanwhile. Rewritten in place; nothing at all where the output is no terminal.
///
/// Whoever writes something else calls `clear` before and `show` behind it; both write into the output and leave
/// `Output::flush` to the caller.
class StatusLine {
 public:
  StatusLine(Output& output, const Clock& clock) : output_(output), clock_(clock) {}

  void setState(const RunState& state);
  /// The name by which a running tool is shown.
  void nameTool(const ToolInvocation& invocation);
  /// What the reasoning of an agent that thinks, or the running tool of that id, has printed.
  void addReasoning(const Growth& growth);
  void addOutput(ToolInvocationId invocation, std::string_view text);

  void show();
  /// `show`, where it was not shown a moment ago.
  void refresh();
  void clear();

 private:
  void addWords(std::string_view text);
  std::string text() const;
  std::string stateWords() const;
  /// The wait before another try is over, and nothing has come of that try yet.
  bool isTriedAgain() const;

  Output& output_;
  const Clock& clock_;
  std::optional<RunState> state_;
  std::map<ToolInvocationId, std::string> toolNames_;
  std::string words_;  ///< the last line of what was printed in this state
  Timestamp shownAt_{};
  bool isShown_ = false;
};

}  // namespace ravant::cli
