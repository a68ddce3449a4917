#include <utility>

#include "desktop/composer/prompt_composer.hpp"

namespace ravant::desktop {

void PromptComposer::send() { send(PromptSender::QueueEnd::back); }

void PromptComposer::sendNow() { send(PromptSender::QueueEnd::front); }

void PromptComposer::sendIfWished() {
  if (const auto end = std::exchange(wish_, std::nullopt)) send(*end);
}

void PromptComposer::send(PromptSender::QueueEnd end) {
  if (!canSend()) {
    // Whether it can be sent is known once the place is read, or the conversation is made.
    if (place_ && hasText() && (!isRead() || isBeingMade())) wish_ = end;
    return;
  }
  const PromptOptions& options = pickers_.options();
  PromptOrder order{.prompt = prompt_.text(),
                    .project = project_,
                    .conversation = conversation(),
                    .agent = options.agent->id,
                    .model = options.model,
                    .effort = options.effort,
                    .queuedBehind = std::exchange(queuedBehind_, std::nullopt)};
  const bool isQueued = isBusy();
  draft_.handOver();
  refusal_.clear();
  if (isQueued) {
    sender_->queue(std::move(order), end);
    if (end == PromptSender::QueueEnd::front) {
      window_.notices()->tell(
          tr("%1 takes nothing into a run: the prompt is sent first when the run is over").arg(pickers_.agentName()));
    }
  } else {
    isStarting_ = true;
    sender_->send(std::move(order));
    Q_EMIT sent();
  }
  show({});
}

void PromptComposer::sendWords(ConversationId conversation, const QString& words) {
  const PromptOptions& options = pickers_.options();
  if (place_ != DraftPlace(conversation) || isBusy()) return;
  if (readPlace_ != place_) {
    return window_.notices()->tellError(tr("The conversation is still being read: try again in a moment."));
  }
  if (options.obstacle != PromptObstacle::none || !options.agent) {
    return window_.notices()->tellError(tr("Nothing was sent: what is missing is said above the prompt."));
  }
  refusal_.clear();
  sender_->send({.prompt = words.toStdString(),
                 .project = project_,
                 .conversation = conversation,
                 .agent = options.agent->id,
                 .model = options.model,
                 .effort = options.effort});
}

void PromptComposer::sendQueued(ConversationId conversation) {
  if (place_ != DraftPlace(conversation)) return;
  if (queue_.count() > 0) return queue_.sendNow(0);
  window_.notices()->tell(tr("No prompt waits here any more"));
}

void PromptComposer::stop() {
  if (place_ && isUnderWay() && stopObstacle().isEmpty()) sender_->stop(*place_);
}

void PromptComposer::putInFront(const std::string& text) {
  show(joined(ComposedPrompt::parse(text), prompt_));
  draft_.typed();
  draft_.writeNow();
}

void PromptComposer::takeBack(ReturnedPrompt& returned) {
  const auto* const queuedIn = std::get_if<ConversationId>(&returned.place);
  if (queuedIn != nullptr && returned.model) {
    pickers_.remember(*queuedIn, {.model = returned.model, .effort = returned.effort});
  }
  if (returned.place != place_) return;
  returned.isTaken = true;
  isStarting_ = false;
  refusal_ = returned.words;
  if (returned.queuedBehind) queuedBehind_ = returned.queuedBehind;
  putInFront(returned.prompt);
  rereading_.now();
  troubles_.refresh();
  Q_EMIT fieldWanted();
}

void PromptComposer::openBegun(ProjectId project, ConversationId conversation) {
  if (place_ != DraftPlace(project)) return;
  const PromptOptions& options = pickers_.options();
  pickers_.remember(conversation, {.model = options.model, .effort = options.effort.value_or("")});
  // What was typed since the prompt was sent goes along.
  const auto wish = wish_;
  ComposedPrompt typedOn = std::exchange(prompt_, {});
  draft_.moveAway();
  window_.openConversation(textOf(conversation), textOf(project));
  if (typedOn.isEmpty() || place_ != DraftPlace(conversation)) return;
  show(std::move(typedOn));
  draft_.typed();
  wish_ = wish;
}

}  // namespace ravant::desktop
