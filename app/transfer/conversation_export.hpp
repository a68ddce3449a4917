#pragma once

#include <array>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "app/transfer/transcript_form.hpp"
#include "core/store/conversation_model_actor.hpp"
#include "core/store/transcript_pages.hpp"

namespace ravant {

class Application;

enum class ExportFormat { markdown, json, html };
inline constexpr std::array kExportFormats = {ExportFormat::markdown, ExportFormat::json, ExportFormat::html};

std::string_view rawValue(ExportFormat format);
std::optional<ExportFormat> exportFormatFromRawValue(std::string_view text);

/// A conversation as a text that comes in pieces, in memory for one page of it: a few entries, or one that is large (a
/// group with all of its tool calls).
class ConversationExport {
 public:
  /// Throws `StoreError`, and `std::runtime_error` where the conversation or its project is gone.
  static awaitable<ConversationExport> begin(Application& application, ConversationId id, ExportFormat format);

  /// `items` are no more than the conversation has.
  ConversationExport(TranscriptReader& reader, ExportedConversation exported, std::int64_t items, ExportFormat format);

  /// Nothing at the end. Throws as `begin`, also where entries are removed before they were returned.
  awaitable<std::optional<std::string>> next();
  /// Of what was returned.
  std::int64_t items() const { return items_; }

 private:
  std::optional<ExportedConversation> exported_;  ///< absent once the beginning was returned
  std::int64_t expectedItems_;
  std::unique_ptr<TranscriptForm> form_;  ///< null once the end was returned
  TranscriptPages pages_;
  std::int64_t items_ = 0;
};

}  // namespace ravant
