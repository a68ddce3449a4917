#include "core/store/transcript_replay.hpp"

#include "core/conversation_item.hpp"
#include "core/store/row_values.hpp"

namespace ravant {
namespace {

std::optional<TranscriptEntry> readEntry(const sqlite::Query& row) {
  switch (conversationItemKindFromRawValue(row.text(0)).value()) {
    case ConversationItemKind::userMessage:
      return TranscriptEntry{TranscriptEntry::User{readText(row, 1)}};
    case ConversationItemKind::agentMessage:
      return TranscriptEntry{TranscriptEntry::Agent{.text = readText(row, 1), .rawJSON = readText(row, 7)}};
    case ConversationItemKind::toolInvocationGroup:
      if (row.isNull(2)) return std::nullopt;
      return TranscriptEntry{
          TranscriptEntry::ToolInvocation{.callId = readText(row, 2),
                                          .name = readOptionalText(row, 3),
                                          .input = readOptionalText(row, 4),
                                          .output = readOptionalText(row, 5).value_or(std::string()),
                                          .failed = row.text(6) == rawValue(ToolInvocationStatus::failed),
                                          .rawJSON = readText(row, 8)}};
    case ConversationItemKind::compactionEvent:
    case ConversationItemKind::failureEvent:
      return std::nullopt;
  }
  __builtin_unreachable();
}

}  // namespace

TranscriptReplay::TranscriptReplay(StoreConnection& store)
    : entries_(store.prepare("SELECT item.kind, item.text, call.tool_call_id, call.tool_name, call.input, call.output, "
                             "call.status_raw_value, item.raw_json, call.raw_json FROM conversation_item AS item "
                             "LEFT JOIN tool_invocation AS call ON call.group_id = item.id "
                             "WHERE item.conversation_id = ? ORDER BY item.created_at, item.id, call.id")) {}

std::vector<TranscriptEntry> TranscriptReplay::entries(ConversationRow conversation) {
  std::vector<TranscriptEntry> entries;
  auto row = entries_.query(bound(conversation));
  while (row.step()) {
    if (auto entry = readEntry(row)) entries.push_back(std::move(*entry));
  }
  return entries;
}

}  // namespace ravant
