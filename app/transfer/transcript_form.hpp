#pragma once

#include <memory>
#include <string>

#include "app/transfer/exported_conversation.hpp"
#include "core/conversation_item.hpp"

namespace ravant {

/// How an exported conversation is written: a beginning, each entry in turn, an end. The same bytes for the same
/// conversation, harmless to a terminal, and nothing that was said or printed can leave its place in them.
class TranscriptForm {
 public:
  virtual ~TranscriptForm() = default;

  virtual std::string beginning(const ExportedConversation& exported) = 0;
  virtual std::string entry(const ConversationItem& item) = 0;
  virtual std::string end() = 0;
};

/// To be read: what was said in quotes, tool calls folded.
std::unique_ptr<TranscriptForm> markdownForm();
/// To be shown: one page without scripts and without anything to be loaded. Prose is paragraphs of plain text.
std::unique_ptr<TranscriptForm> htmlForm();
/// To be kept: everything, one entry a line; `ConversationFile` reads it.
std::unique_ptr<TranscriptForm> jsonForm();

}  // namespace ravant
