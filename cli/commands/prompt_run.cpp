#include "cli/commands/prompt_run.hpp"

#include <boost/asio/experimental/awaitable_operators.hpp>
#include <boost/asio/this_coro.hpp>

#include "cli/command/seen_mark.hpp"
#include "cli/output/command_error.hpp"

namespace ravant::cli {

PromptRun::PromptRun(CommandContext& context, PromptSubmission submission)
    : context_(context),
      submission_(std::move(submission)),
      output_(RunOutput::make(context.format, context.output, context.application().modelContainer()->clock())) {}

awaitable<RunEnd> PromptRun::run() {
  using asio::experimental::awaitable_operators::operator&&;
  co_await prepare();
  output_->started({.conversation = submission_.conversation,
                    .project = submission_.project,
                    .agent = submission_.agent.type,
                    .model = submission_.model});
  co_await (cancelWhenInterrupted() && submit() && follow() && keepTime());
  if (!isReaderStalled_) output_->finished(error_ ? PromptEndReason::failed : reason_);
  if (error_) std::rethrow_exception(error_);
  const bool hasReader = !context_.wantsJson() && context_.output.isTerminal() && !isReaderStalled_;
  if (hasReader) co_await markSeen(context_.application(), submission_.conversation, follower_->shownItem());
  co_return RunEnd{.reason = reason_, .failure = follower_->failure()};
}

awaitable<void> PromptRun::prepare() {
  Application& application = context_.application();
  const auto interface = co_await asio::this_coro::executor;
  ended_.emplace(interface);
  auto before = co_await application.conversations().conversation(submission_.conversation);
  if (!before) throw CommandError("the conversation is gone");
  const auto items = co_await application.transcripts().items(submission_.conversation, 1);
  follower_ = std::make_unique<RunFollower>(application, *std::move(before),
                                            items.empty() ? std::nullopt : std::optional(items.back().id), *output_);
  activity_ = application.notifications().observe(std::string(kActiveConversationsChanged), interface);
  subscription_ = co_await application.modelContainer()->changeFeed()->subscribe(interface);
}

awaitable<void> PromptRun::submit() {
  Application& application = context_.application();
  try {
    reason_ = co_await submitPrompt(application, submission_);
  } catch (...) {
    error_ = std::current_exception();
  }
  co_await application.modelContainer()->changeFeed()->flush();
  subscription_->end();
  activity_.reset();
  hasEnded_ = true;
  ended_->notify();
  context_.interruption.release();
}

awaitable<void> PromptRun::follow() {
  try {
    co_await follower_->follow(subscription_);
  } catch (...) {
    failToShow(std::current_exception());
  }
}

awaitable<void> PromptRun::keepTime() {
  while (!hasEnded_ && !error_) {
    co_await ended_->wait(std::chrono::steady_clock::now() + std::chrono::seconds(1));
    try {
      if (!hasEnded_ && !error_) output_->tick();
    } catch (...) {
      failToShow(std::current_exception());
    }
  }
}

void PromptRun::failToShow(std::exception_ptr error) {
  error_ = error;
  try {
    std::rethrow_exception(error);
  } catch (const Interrupted&) {
    // The signal itself cancels the run.
    isReaderStalled_ = true;
  } catch (...) {
    // A run that nobody can see is not left running.
    context_.interruption.request();
  }
}

awaitable<void> PromptRun::cancelWhenInterrupted() {
  if (!co_await context_.interruption.requested()) co_return;
  AgentRunnerStore& runners = context_.application().runners();
  while (activity_ && !runners.activeConversations().contains(submission_.conversation)) {
    co_await activity_->next();
  }
  try {
    co_await runners.cancelRunner(submission_.conversation);
  } catch (...) {
    error_ = std::current_exception();
  }
}

}  // namespace ravant::cli
