#include "agent/chat_turn_assembly.hpp"

#include <fmt/format.h>

#include <algorithm>

#include "agent/chat_completions_error.hpp"
#include "agent/reasoning.hpp"
#include "agent/tool_call_id.hpp"
#include "platform/text/text.hpp"
#include "platform/text/utf8.hpp"

namespace ravant {
namespace {

using Outlook = ChatCompletionsError::Outlook;

constexpr std::size_t kStrayTextLimit = 300;  // bytes
constexpr std::int64_t kMostCalls = 1'000'000;

}  // namespace

ChatTurnAssembly::Progress ChatTurnAssembly::onLine(std::string_view line) {
  const auto payload = chat::eventData(line);
  if (!payload) {
    const bool isField =
        line.starts_with(':') || line.starts_with("event:") || line.starts_with("id:") || line.starts_with("retry:");
    const std::size_t room = kStrayTextLimit + 1 - strayText_.size();
    if (!hasEvent_ && !isField) strayText_ += line.substr(0, room);
    return Progress::goesOn;
  }
  hasEvent_ = true;
  if (*payload == chat::kStreamEnd) return Progress::over;
  if (auto chunk = parser_.parse(*payload)) take(*std::move(chunk));
  return Progress::goesOn;
}

ChatTurn ChatTurnAssembly::finish() {
  if (!hasEvent_ && !trimmed(strayText_).empty()) {
    const Extent extent = strayText_.size() > kStrayTextLimit ? Extent::beginning : Extent::whole;
    const std::string shown = excerpt(trimmed(std::string_view(strayText_).substr(0, kStrayTextLimit)), extent);
    throw ChatCompletionsError::transport(provider_, fmt::format("the response is no event stream: {}", shown));
  }
  const bool isEmpty = turn_.text.empty() && partials_.empty() && !turn_.finishReason && !turn_.usage;
  if (isEmpty) throw ChatCompletionsError::transport(provider_, "the response is empty", Outlook::passing);
  for (auto& [index, partial] : partials_) {
    turn_.toolCalls.push_back({.id = partial.id ? *std::move(partial.id) : generatedToolCallId(),
                               .name = std::move(partial.name),
                               .argumentsJSON = std::move(partial.arguments)});
  }
  partials_.clear();
  return std::move(turn_);
}

void ChatTurnAssembly::take(chat::Chunk chunk) {
  if (chunk.error) throw ChatCompletionsError::stream(provider_, chunk.error->code, chunk.error->message);
  if (chunk.id && chunk.id != turn_.responseId) turn_.responseId = *chunk.id;
  if (chunk.usage) turn_.usage = std::move(chunk.usage);
  if (chunk.finishReason) turn_.finishReason = *chunk.finishReason;
  if (const std::string thought = chat::textOfReasoning(chunk.reasoning); !thought.empty()) {
    hasBegun_ = true;
    events_.onReasoning(thought);
  }
  chat::appendReasoning(turn_.reasoning, std::move(chunk.reasoning));
  if (!chunk.content.empty()) {
    hasBegun_ = true;
    turn_.text += chunk.content;
    events_.onText(chunk.content);
  }
  hasBegun_ |= !chunk.toolCalls.empty();
  for (const chat::ToolCallFragment& fragment : chunk.toolCalls) {
    PartialToolCall& partial = partialFor(fragment);
    if (!fragment.id.empty()) partial.id = fragment.id;
    if (!fragment.name.empty()) partial.name = fragment.name;
    partial.arguments += fragment.arguments;
  }
}

ChatTurnAssembly::PartialToolCall& ChatTurnAssembly::partialFor(const chat::ToolCallFragment& fragment) {
  const bool hasIndex = fragment.index && *fragment.index >= 0 && *fragment.index < kMostCalls;
  lastIndex_ = hasIndex ? *fragment.index : guessedIndex(fragment);
  return partials_[lastIndex_];
}

/// A new id, or a name without an id, begins a call; anything else belongs to the last one.
std::int64_t ChatTurnAssembly::guessedIndex(const chat::ToolCallFragment& fragment) const {
  if (partials_.empty()) return 0;
  const auto known = std::ranges::find_if(
      partials_, [&](const auto& entry) { return !fragment.id.empty() && entry.second.id == fragment.id; });
  if (known != partials_.end()) return known->first;
  const bool isNew = !fragment.id.empty() || !fragment.name.empty();
  return isNew ? partials_.rbegin()->first + 1 : lastIndex_;
}

}  // namespace ravant
