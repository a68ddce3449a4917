#include "runners/transcript_writer.hpp"

#include "core/agent_runner_error.hpp"
#include "core/store/store_error.hpp"
#include "platform/log/log.hpp"

namespace ravant {
namespace {

constexpr Log kLog("com.ravant.runners", "TranscriptWriter");

}  // namespace

TranscriptWriter::TranscriptWriter(const std::shared_ptr<ModelContainer>& modelContainer, ConversationId conversationId)
    : conversationId_(conversationId), items_(ConversationItemModelActor::make(modelContainer)) {}

awaitable<void> TranscriptWriter::begin(std::string prompt, AgentType agent) {
  if (!co_await items_->beginRun(conversationId_)) throw ConversationGoneError();
  std::exception_ptr error;
  try {
    co_await items_->appendUserPrompt(conversationId_, std::move(prompt), agent);
    co_return;
  } catch (...) {
    error = std::current_exception();
  }
  try {
    co_await end({});
  } catch (const StoreError& unmarked) {
    kLog.error("the mark of a run could not be taken off: {}", unmarked.what());
  }
  std::rethrow_exception(error);
}

awaitable<void> TranscriptWriter::store(std::vector<TranscriptAction> actions) {
  if (!co_await items_->apply(conversationId_, std::move(actions))) throw ConversationGoneError();
}

awaitable<void> TranscriptWriter::end(std::string unfinishedToolOutput) {
  if (!co_await items_->endRun(conversationId_, std::move(unfinishedToolOutput))) throw ConversationGoneError();
}

}  // namespace ravant
