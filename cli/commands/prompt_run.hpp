#pragma once

#include <exception>
#include <memory>
#include <optional>
#include <string>

#include "app/prompt_submission.hpp"
#include "cli/command/command_context.hpp"
#include "cli/commands/run_follower.hpp"
#include "platform/async/signal.hpp"

namespace ravant::cli {

/// How a run ended.
struct RunEnd {
  PromptEndReason reason;
  std::optional<std::string> failure;  ///< the text of its failure item
};

/// One prompt from its submission to its end, shown as it happens and cancelled when the user interrupts the program.
class PromptRun {
 public:
  PromptRun(CommandContext& context, PromptSubmission submission);

  /// Throws `StoreError`, and what the output throws; the run is over then too.
  awaitable<RunEnd> run();

 private:
  awaitable<void> prepare();
  awaitable<void> submit();
  awaitable<void> follow();
  /// Tells the output of each second until the prompt has ended.
  awaitable<void> keepTime();
  /// Keeps what is thrown while something is shown, and has the run stopped for it.
  void failToShow(std::exception_ptr error);
  awaitable<void> cancelWhenInterrupted();

  CommandContext& context_;
  PromptSubmission submission_;
  std::unique_ptr<RunOutput> output_;
  std::unique_ptr<RunFollower> follower_;
  std::shared_ptr<ChangeSubscription> subscription_;
  std::shared_ptr<NotificationObserver> activity_;  ///< until the prompt has ended
  std::optional<Signal> ended_;
  bool hasEnded_ = false;
  PromptEndReason reason_ = PromptEndReason::failed;
  std::exception_ptr error_;
  bool isReaderStalled_ = false;  ///< the user interrupted the wait for who reads the output
};

}  // namespace ravant::cli
