#include "app/transfer/conversation_export.hpp"

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "app/application.hpp"

namespace ravant {
namespace {

std::unique_ptr<TranscriptForm> formOf(ExportFormat format) {
  switch (format) {
    case ExportFormat::markdown:
      return markdownForm();
    case ExportFormat::json:
      return jsonForm();
    case ExportFormat::html:
      return htmlForm();
  }
  __builtin_unreachable();
}

}  // namespace

std::string_view rawValue(ExportFormat format) {
  switch (format) {
    case ExportFormat::markdown:
      return "markdown";
    case ExportFormat::json:
      return "json";
    case ExportFormat::html:
      return "html";
  }
  __builtin_unreachable();
}

std::optional<ExportFormat> exportFormatFromRawValue(std::string_view text) {
  const auto* found = std::ranges::find(kExportFormats, text, [](ExportFormat format) { return rawValue(format); });
  return found == kExportFormats.end() ? std::nullopt : std::optional(*found);
}

awaitable<ConversationExport> ConversationExport::begin(Application& application, ConversationId id,
                                                        ExportFormat format) {
  auto summary = co_await application.conversations().conversation(id);
  if (!summary) throw std::runtime_error("the conversation is gone");
  const std::vector<Project> projects = co_await application.projects().projects();
  const auto project = std::ranges::find(projects, summary->conversation.project, &Project::id);
  if (project == projects.end()) throw std::runtime_error("the conversation's project is gone");
  co_return ConversationExport(application.transcripts(),
                               {.conversation = std::move(summary->conversation),
                                .projectPath = project->path,
                                .projectName = project->name,
                                .agentType = summary->agentType,
                                .firstWords = std::move(summary->firstWords)},
                               summary->items, format);
}

ConversationExport::ConversationExport(TranscriptReader& reader, ExportedConversation exported, std::int64_t items,
                                       ExportFormat format)
    : exported_(std::move(exported)),
      expectedItems_(items),
      form_(formOf(format)),
      pages_(reader, exported_->conversation.id) {}

awaitable<std::optional<std::string>> ConversationExport::next() {
  if (!form_) co_return std::nullopt;
  std::vector<ConversationItem> page = co_await pages_.next();
  items_ += static_cast<std::int64_t>(page.size());
  if (page.empty() && items_ < expectedItems_) {
    throw std::runtime_error("the conversation was removed while it was exported");
  }
  std::string piece;
  if (const auto exported = std::exchange(exported_, std::nullopt)) piece = form_->beginning(*exported);
  if (page.empty()) co_return piece + std::exchange(form_, nullptr)->end();
  for (ConversationItem& item : page) {
    piece += form_->entry(item);
    item = {};
  }
  co_return piece;
}

}  // namespace ravant
