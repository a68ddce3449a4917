#include "app/stored_turns.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <functional>

#include "core/store/transcript_writer.hpp"
#include "core/store/user_prompt_format.hpp"
#include "platform/text/text.hpp"

namespace ravant {
namespace {

// How long after the prompt its agent may write it down; of one that has ended, how long after that.
constexpr std::chrono::minutes kLongestStart{10};
constexpr std::chrono::seconds kLatestWord{2};
constexpr std::string_view kTimeKey = R"(,"timestamp":)";

std::size_t fingerprint(std::string_view what, std::string_view line) {
  return std::hash<std::string_view>()(what) * 31 + std::hash<std::string_view>()(line);
}

// Not by their words, which others can have too.
std::size_t fingerprint(const ConversationItem& item) {
  return fingerprint(rawValue(kindOf(item)), item.rawJSON.empty() ? item.text : item.rawJSON);
}
std::size_t fingerprint(const ToolInvocation& call) { return fingerprint(call.toolCallId, call.rawJSON); }

bool isWithoutResult(const ToolInvocation& call) { return call.output == kUnfinishedTool; }

/// The agent may have been told more than the user's words, in lines of its own.
bool hasWords(std::string_view told, std::string_view words) {
  return fmt::format("\n{}\n", trimmed(told)).contains(fmt::format("\n{}\n", trimmed(words)));
}

LateResult resultOf(const ToolInvocation& call) {
  const bool hasFailed = call.status == ToolInvocationStatus::failed;
  return {.result = {.toolCallId = call.toolCallId,
                     .output = call.output.value_or(""),
                     .outcome = hasFailed ? ToolOutcome::failed : ToolOutcome::completed},
          .at = call.completedAt.value_or(call.createdAt)};
}

}  // namespace

void StoredTurns::add(const ConversationItem& item) {
  const auto* group = std::get_if<ToolInvocationGroup>(&item.detail);
  Timestamp last = item.createdAt;
  if (group) {
    for (const ToolInvocation& call : group->invocations) {
      ++known_[fingerprint(call)];
      if (isWithoutResult(call)) withoutResults_.insert(fingerprint(call));
      last = std::max(last, call.completedAt.value_or(last));
    }
  } else {
    ++known_[fingerprint(item)];
  }
  if (const auto* prompt = std::get_if<UserMessage>(&item.detail)) {
    isInRun_ = isOwnPrompt(item);
    const Timestamp latest = prompt->endedAt ? *prompt->endedAt + kLatestWord : item.createdAt + kLongestStart;
    if (!isInRun_) return;
    runs_.push_back({.prompt = item.text,
                     .begin = item.createdAt,
                     .end = last,
                     .latest = latest,
                     .isOver = prompt->endedAt.has_value()});
  } else if (isInRun_ && !std::holds_alternative<FailureEvent>(item.detail)) {
    // This program tells of failures at any time, and ends the calls of one that was killed when it is there again.
    Run& run = runs_.back();
    run.end = std::max(run.end, run.isOver ? std::min(last, run.latest) : last);
  }
}

/// One that this program wrote has nothing but the words and the time.
bool StoredTurns::isOwnPrompt(const ConversationItem& item) const {
  const std::string own = formatUserPrompt(item.text, agent_, item.createdAt);
  const std::size_t beforeTime = own.rfind(kTimeKey);
  return item.rawJSON.size() == own.size() && item.rawJSON.starts_with(own.substr(0, beforeTime));
}

bool StoredTurns::isRunHere(const std::vector<ConversationItem>& turn) {
  const Timestamp at = turn.front().createdAt;
  const bool hasPrompt = std::holds_alternative<UserMessage>(turn.front().detail);
  for (Run& run : runs_) {
    // Its prompt, however it went on from there.
    const bool isPrompt =
        hasPrompt && !run.isFound && at >= run.begin && at <= run.latest && hasWords(turn.front().text, run.prompt);
    const bool isDuring = at >= run.begin && at <= run.end;
    if (!isPrompt && !isDuring) continue;
    run.isFound |= hasPrompt;
    return true;
  }
  return false;
}

std::vector<LateResult> StoredTurns::dropKnown(std::vector<ConversationItem>& turn) {
  std::vector<LateResult> results;
  std::erase_if(turn, [&](ConversationItem& item) {
    auto* group = std::get_if<ToolInvocationGroup>(&item.detail);
    if (!group) return takeKnown(fingerprint(item));
    std::erase_if(group->invocations, [&](const ToolInvocation& call) {
      if (!takeKnown(fingerprint(call))) return false;
      if (withoutResults_.contains(fingerprint(call)) && !isWithoutResult(call)) results.push_back(resultOf(call));
      return true;
    });
    return group->invocations.empty();
  });
  return results;
}

bool StoredTurns::takeKnown(std::size_t fingerprint) {
  const auto found = known_.find(fingerprint);
  if (found == known_.end() || found->second == 0) return false;
  --found->second;
  return true;
}

}  // namespace ravant
