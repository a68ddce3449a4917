#include "cli/output/run_output.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <set>
#include <utility>

#include "cli/output/conversation_text.hpp"
#include "cli/output/json_form.hpp"
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
    write({{"event", "item"}, {"item", jsonForm(item, RawRecords::left)}});
  }

  void growth(const Growth& /*growth*/) override {}

  void invocation(const ToolInvocation& invocation) override {
    write({{"event", "invocation"},
           {"group", invocation.parentGroup.text()},
           {"invocation", jsonForm(invocation, RawRecords::left)}});
  }

  void usage(const ConversationSummary& conversation) override {
    write({{"event", "usage"}, {"conversation", jsonForm(conversation)}});
  }

  void finished(PromptEndReason reason) override { write({{"event", "finished"}, {"reason", rawValue(reason)}}); }

 private:
  void write(const json::object& event) {
    output_.json(event);
    output_.flush();
  }

  Output& output_;
};

/// The prompt is not repeated, and a failure is left to the program's error.
class TextRunOutput final : public RunOutput {
 public:
  explicit TextRunOutput(Output& output) : output_(output) {}

  void started(const RunStart& start) override {
    dimLine(fmt::format("{} ({}) · conversation {} · {} · {}", start.project.name, start.project.path,
                        shortId(start.conversation), rawValue(start.agent), start.model));
    output_.flush();
  }

  void item(const ConversationItem& item) override {
    switch (kindOf(item)) {
      case ConversationItemKind::agentMessage:
        message(item);
        break;
      case ConversationItemKind::compactionEvent:
        endLine();
        output_.line("");
        output_.write(itemText(item, output_.style(), ToolOutput::firstLines));
        break;
      case ConversationItemKind::toolInvocationGroup:
        endLine();
        output_.line("");
        break;
      case ConversationItemKind::userMessage:
      case ConversationItemKind::failureEvent:
        break;
    }
    output_.flush();
  }

  void growth(const Growth& growth) override {
    if (growth.isNewMessage) {
      endLine();
      grown_.clear();
    }
    // White space in front of the first word is not shown.
    const bool isFirst = withoutLeadingSpace(grown_).empty();
    grown_ += growth.text;
    const std::string_view words = isFirst ? withoutLeadingSpace(grown_) : std::string_view(growth.text);
    if (words.empty()) return;
    if (isFirst) output_.line("");
    output_.write(terminalSafe(words));
    isInLine_ = !words.ends_with('\n');
    output_.flush();
  }

  void invocation(const ToolInvocation& invocation) override {
    endLine();
    const bool isNew = shown_.insert(invocation.id).second;
    if (isNew) output_.write(startedText(invocation, output_.style()));
    if (invocation.status != ToolInvocationStatus::running) {
      output_.write(endedText(invocation, output_.style(), ToolOutput::firstLines));
    }
    output_.flush();
  }

  void usage(const ConversationSummary& summary) override { usage_ = usageText(summary.conversation); }

  void finished(PromptEndReason reason) override {
    endLine();
    output_.line("");
    if (reason == PromptEndReason::cancelled) dimLine("cancelled");
    if (!usage_.empty()) dimLine(usage_);
    output_.flush();
  }

 private:
  /// What has not been shown of it while it grew.
  void message(const ConversationItem& item) {
    const std::string grown = std::exchange(grown_, {});
    const std::string_view shown = withoutLeadingSpace(grown);
    const std::string_view whole = withoutLeadingSpace(item.text);
    if (!shown.empty() && (whole.starts_with(shown) || trimmed(whole) == trimmed(shown))) {
      const std::string_view rest = whole.substr(std::min(shown.size(), whole.size()));
      output_.write(terminalSafe(rest));
      if (!rest.empty()) isInLine_ = !rest.ends_with('\n');
      return endLine();
    }
    endLine();
    output_.line("");
    output_.write(itemText(item, output_.style(), ToolOutput::firstLines));
  }

  void endLine() {
    if (std::exchange(isInLine_, false)) output_.line("");
  }

  void dimLine(std::string_view text) { output_.line(output_.style().dim(oneLine(text))); }

  Output& output_;
  std::set<ToolInvocationId> shown_;
  std::string grown_;  ///< of a message that is not whole yet
  bool isInLine_ = false;
  std::string usage_;
};

}  // namespace

std::unique_ptr<RunOutput> RunOutput::make(OutputFormat format, Output& output) {
  switch (format) {
    case OutputFormat::json:
      return std::make_unique<JsonRunOutput>(output);
    case OutputFormat::text:
      return std::make_unique<TextRunOutput>(output);
  }
  __builtin_unreachable();
}

}  // namespace ravant::cli
