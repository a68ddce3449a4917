#include "cli/output/status_line.hpp"

#include <fmt/format.h>

#include "cli/output/terminal_text.hpp"
#include "platform/text/duration_text.hpp"
#include "platform/text/text.hpp"

namespace ravant::cli {
namespace {

constexpr std::string_view kToLineStart = "\r\x1b[K";  // and erase the line (ECMA-48)
constexpr std::chrono::milliseconds kMoment{100};
constexpr std::size_t kMostWords = 500;  // bytes

/// The last line with something on it.
std::string_view lastLine(std::string_view text) {
  text = trimmed(text);
  return text.substr(text.find_last_of("\r\n") + 1);
}

}  // namespace

void StatusLine::setState(const RunState& state) {
  state_ = state;
  words_.clear();
}

void StatusLine::nameTool(const ToolInvocation& invocation) {
  toolNames_.insert_or_assign(invocation.id, oneLine(invocation.toolName));
}

void StatusLine::addReasoning(const Growth& growth) {
  if (!state_ || state_->kind != RunState::Kind::thinking) return;
  if (growth.isNewMessage) words_.clear();
  addWords(growth.text);
}

void StatusLine::addOutput(ToolInvocationId invocation, std::string_view text) {
  if (state_ && state_->invocation == invocation) addWords(text);
}

void StatusLine::addWords(std::string_view text) {
  if (text.size() > kMostWords) text.remove_prefix(text.size() - kMostWords);
  words_ += text;
  // A line that has ended stays until the next one has words.
  words_.erase(0, static_cast<std::size_t>(lastLine(words_).data() - words_.data()));
  if (words_.size() > kMostWords) words_.erase(0, words_.size() - kMostWords);
}

void StatusLine::show() {
  const auto width = output_.terminalWidth();
  if (!width || !state_) return;
  clear();
  // The last column is left free: a terminal may wrap the line there.
  output_.write(output_.style().dim(cutToWidth(text(), *width - 1)));
  shownAt_ = clock_.now();
  isShown_ = true;
}

void StatusLine::refresh() {
  if (clock_.now() - shownAt_ >= kMoment) show();
}

void StatusLine::clear() {
  if (std::exchange(isShown_, false)) output_.write(kToLineStart);
}

std::string StatusLine::text() const {
  const Timestamp since = isTriedAgain() ? *state_->until : state_->since;
  std::string text = fmt::format("… {}, {}", stateWords(), durationText(clock_.now() - since));
  if (const std::string words = oneLine(lastLine(words_)); !words.empty()) text += ": " + words;
  return text;
}

bool StatusLine::isTriedAgain() const {
  return state_->kind == RunState::Kind::retrying && state_->until && *state_->until <= clock_.now();
}

std::string StatusLine::stateWords() const {
  switch (state_->kind) {
    case RunState::Kind::waitingForShell:
      return "waiting for the shell";
    case RunState::Kind::waitingForLogin:
      return "waiting for the login";
    case RunState::Kind::thinking:
      return "thinking";
    case RunState::Kind::retrying: {
      if (isTriedAgain()) return "thinking";
      const auto wait = state_->until ? *state_->until - clock_.now() : std::chrono::microseconds(0);
      const std::string when = wait > std::chrono::seconds(0) ? " in " + durationText(wait) : std::string();
      return fmt::format("trying again{} ({})", when, oneLine(state_->reason));
    }
    case RunState::Kind::runningTool: {
      const auto name = toolNames_.find(state_->invocation.value_or(ToolInvocationId(0)));
      return name == toolNames_.end() ? "running a tool" : "running " + name->second;
    }
  }
  __builtin_unreachable();
}

}  // namespace ravant::cli
