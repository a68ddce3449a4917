#include "cli/output/run_output.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <set>
#include <utility>
#include <vector>

#include "cli/output/conversation_text.hpp"
#include "cli/output/json_form.hpp"
#include "cli/output/status_line.hpp"
#include "cli/output/terminal_text.hpp"
#include "cli/output/transcript_text.hpp"
#include "platform/text/text.hpp"

namespace ravant::cli {
namespace {

std::string_view withoutLeadingSpace(std::string_view text) {
  return text.substr(std::min(text.find_first_not_of(" \t\r\n"), text.size()));
}

class JsonRunOutput final : public RunOutput {
 public:
  explicit JsonRunOutput(Output& output) : output_(output) {}

  void started(const RunStart& start) override {
    write({{"event", "started"},
           {"conversation", start.conversation.text()},
           {"project", start.project.id.text()},
           {"agent", rawValue(start.agent)},
           {"model", start.model}});
  }

  void item(const ConversationItem& item) override {
    json::object form = jsonForm(item, RawRecords::left);
    // Whether a quick run's prompt has ended by now is chance; `finished` tells it.
    form.erase("endReason");
    form.erase("endedAt");
    write({{"event", "item"}, {"item", std::move(form)}});
  }

  void growth(const Growth& /*growth*/) override {}
  void tick() override {}

  void invocation(const ToolInvocation& invocation) override {
    write({{"event", "invocation"},
           {"group", invocation.parentGroup.text()},
           {"invocation", jsonForm(invocation, RawRecords::left)}});
  }

  void toolOutput(ToolInvocationId invocation, std::string_view text) override {
    write({{"event", "output"}, {"invocation", invocation.text()}, {"text", text}});
  }

  void state(const RunState& state) override {
    json::object event{{"event", "state"}, {"state", rawValue(state.kind)}};
    if (state.kind == RunState::Kind::retrying) event.emplace("reason", state.reason);
    if (state.until) event.emplace("until", iso8601(*state.until));
    if (state.invocation) event.emplace("invocation", state.invocation->text());
    write(std::move(event));
  }

  void usage(const ConversationSummary& conversation) override {
    write({{"event", "usage"}, {"conversation", jsonForm(conversation)}});
  }

  void finished(PromptEndReason reason) override { write({{"event", "finished"}, {"reason", rawValue(reason)}}); }

 private:
  void write(json::object event) {
    output_.json(std::move(event));
    output_.flush();
  }

  Output& output_;
};

/// The prompt is not repeated, and a failure is left to the program's error. Reasoning and what a running tool prints
/// stand on the status line alone.
class TextRunOutput final : public RunOutput {
 public:
  TextRunOutput(Output& output, const Clock& clock) : output_(output), status_(output, clock) {}

  void started(const RunStart& start) override {
    dimLine(fmt::format("{} ({}) · conversation {} · {} · {}", start.project.name, start.project.path,
                        shortId(start.conversation), rawValue(start.agent), start.model));
    flush();
  }

  void item(const ConversationItem& item) override {
    switch (kindOf(item)) {
      case ConversationItemKind::agentMessage:
        status_.clear();
        message(item);
        break;
      case ConversationItemKind::compactionEvent:
        beginBlock();
        output_.write(itemText(item, output_.style(), ToolOutput::firstLines));
        break;
      case ConversationItemKind::toolInvocationGroup:
        beginBlock();
        break;
      case ConversationItemKind::userMessage:
      case ConversationItemKind::failureEvent:
        return;
    }
    flush();
  }

  void growth(const Growth& growth) override {
    if (growth.kind == GrowthKind::reasoning) {
      status_.addReasoning(growth);
      if (!isInLine_) status_.refresh();
      return output_.flush();
    }
    if (growth.isNewMessage || growing_.empty()) {
      endLine();
      growing_.emplace_back();
      heldBack_.clear();
    }
    std::string& grown = growing_.back();
    // White space in front of the first word is not shown.
    const bool isFirst = withoutLeadingSpace(grown).empty();
    const std::size_t shown = grown.size();
    grown += std::exchange(heldBack_, {}) + growth.text;
    // It may be half of a line break.
    if (grown.ends_with('\r')) {
      grown.pop_back();
      heldBack_ = "\r";
    }
    const std::string_view all = grown;
    const std::string_view words = isFirst ? withoutLeadingSpace(all) : all.substr(shown);
    if (words.empty()) return;
    status_.clear();
    if (isFirst) output_.line("");
    output_.write(terminalSafe(words));
    isInLine_ = !words.ends_with('\n');
    flush();
  }

  void invocation(const ToolInvocation& invocation) override {
    const bool isNew = shown_.insert(invocation.id).second;
    const bool hasEnded = invocation.status != ToolInvocationStatus::running;
    status_.nameTool(invocation);
    if (!isNew && !hasEnded) return;
    endLine();
    if (isNew) output_.write(startedText(invocation, output_.style()));
    if (hasEnded) output_.write(endedText(invocation, output_.style(), ToolOutput::firstLines));
    flush();
  }

  void toolOutput(ToolInvocationId invocation, std::string_view text) override {
    status_.addOutput(invocation, text);
    if (!isInLine_) status_.refresh();
    output_.flush();
  }

  void state(const RunState& state) override {
    status_.setState(state);
    flush();
  }

  void tick() override { flush(); }

  void usage(const ConversationSummary& summary) override { usage_ = usageText(summary.conversation); }

  void finished(PromptEndReason reason) override {
    beginBlock();
    if (reason == PromptEndReason::cancelled) dimLine("cancelled");
    if (!usage_.empty()) dimLine(usage_);
    output_.flush();
  }

 private:
  /// What has not been shown of it while it grew.
  void message(const ConversationItem& item) {
    const std::string_view whole = withoutLeadingSpace(item.text);
    const auto isOfIt = [&](std::string_view grown) {
      const std::string_view shown = withoutLeadingSpace(grown);
      return !shown.empty() && (whole.starts_with(shown) || trimmed(whole) == trimmed(shown));
    };
    const auto grown = std::ranges::find_if(growing_, isOfIt);
    const bool isLast = grown != growing_.end() && std::next(grown) == growing_.end();
    const bool isShown = grown != growing_.end() && (isLast || trimmed(whole) == trimmed(*grown));
    const std::size_t size = isShown ? withoutLeadingSpace(*grown).size() : 0;
    growing_.erase(growing_.begin(), isShown ? std::next(grown) : growing_.end());
    if (isShown && !isLast) return;  // it was given up for the next one
    heldBack_.clear();
    if (isShown) {
      const std::string_view rest = whole.substr(std::min(size, whole.size()));
      output_.write(terminalSafe(rest));
      if (!rest.empty()) isInLine_ = !rest.ends_with('\n');
      return endLine();
    }
    beginBlock();
    output_.write(itemText(item, output_.style(), ToolOutput::firstLines));
  }

  void beginBlock() {
    endLine();
    output_.line("");
  }

  void endLine() {
    status_.clear();
    if (std::exchange(isInLine_, false)) output_.line("");
  }

  void dimLine(std::string_view text) { output_.line(output_.style().dim(oneLine(text))); }

  /// The status stands behind whole lines only.
  void flush() {
    if (!isInLine_) status_.show();
    output_.flush();
  }

  Output& output_;
  StatusLine status_;
  std::set<ToolInvocationId> shown_;
  std::vector<std::string>
      growing_;           ///< messages that are not whole yet, as far as they were shown; the last one grows
  std::string heldBack_;  ///< what came behind the last one
  bool isInLine_ = false;
  std::string usage_;
};

}  // namespace

std::unique_ptr<RunOutput> RunOutput::make(OutputFormat format, Output& output, const Clock& clock) {
  switch (format) {
    case OutputFormat::json:
      return std::make_unique<JsonRunOutput>(output);
    case OutputFormat::text:
      return std::make_unique<TextRunOutput>(output, clock);
  }
  __builtin_unreachable();
}

}  // namespace ravant::cli
