#include "core/store/imported_session_table.hpp"

#include "core/store/row_values.hpp"

namespace ravant {
namespace {

ImportedSession readSession(const sqlite::Query& row) {
  return {.agent = agentTypeFromRawValue(row.text(1)).value(),
          .sessionId = readText(row, 2),
          .file = readText(row, 3),
          .inode = row.int64(4),
          .byteOffset = row.int64(5),
          .state = readText(row, 6)};
}

}  // namespace

ImportedSessionTable::ImportedSessionTable(StoreConnection& store)
    : store_(store),
      imported_(store.prepare("SELECT conversation.uuid, imported.agent_type, imported.session_id, imported.file, "
                              "iif(imported.importer IS NULL, imported.inode, ?3), imported.byte_offset, "
                              "imported.state, conversation.importer FROM imported_session AS imported JOIN "
                              "conversation ON conversation.id = imported.conversation_id WHERE "
                              "imported.agent_type = ?1 AND imported.session_id = ?2")),
      own_(store.prepare("SELECT conversation.uuid, conversation.importer FROM conversation LEFT JOIN agent ON "
                         "agent.id = conversation.agent_id WHERE conversation.agent_resumed_session_id = ?2 AND "
                         "coalesce(agent.type_raw, conversation.agent_type) = ?1 ORDER BY conversation.importer IS "
                         "NULL DESC, conversation.last_activity_at DESC, conversation.id DESC LIMIT 1")),
      keep_(store.prepare(
          "INSERT INTO imported_session (conversation_id, agent_type, session_id, file, inode, byte_offset, state, "
          "imported_at) VALUES (?, ?, ?, ?, ?, ?, ?, ?) ON CONFLICT (conversation_id) DO UPDATE SET "
          "agent_type = excluded.agent_type, session_id = excluded.session_id, file = excluded.file, "
          "inode = excluded.inode, byte_offset = excluded.byte_offset, state = excluded.state, "
          "imported_at = excluded.imported_at, importer = NULL")),
      mark_(store.prepare("UPDATE imported_session SET importer = ? WHERE conversation_id = ?")),
      adder_(store.prepare("SELECT importer FROM imported_session WHERE conversation_id = ? AND importer <> ?")) {}

std::optional<KnownSession> ImportedSessionTable::find(AgentType agent, std::string_view sessionId,
                                                       Unfinished unfinished) {
  {
    auto row = imported_.query(rawValue(agent), sessionId, ImportedSession::kReadAnew);
    const bool isFound = row.step();
    if (isFound && unfinished == Unfinished::skipped && !row.isNull(7)) return std::nullopt;
    if (isFound) return KnownSession{.conversation = readId<ConversationId>(row, 0), .imported = readSession(row)};
  }
  auto row = own_.query(rawValue(agent), sessionId);
  if (!row.step() || (unfinished == Unfinished::skipped && !row.isNull(1))) return std::nullopt;
  return KnownSession{.conversation = readId<ConversationId>(row, 0), .imported = {}};
}

void ImportedSessionTable::keep(ConversationRow conversation, const ImportedSession& session) {
  keep_.run(bound(conversation), rawValue(session.agent), session.sessionId, session.file, session.inode,
            session.byteOffset, session.state, bound(store_.now()));
}

void ImportedSessionTable::beginAdding(ConversationRow conversation) {
  mark_.run(store_.container().processes().owner(), bound(conversation));
}

bool ImportedSessionTable::isAddedToElsewhere(ConversationRow conversation) {
  const ProcessLedger& processes = store_.container().processes();
  auto adder = adder_.query(bound(conversation), processes.owner());
  return adder.step() && processes.isAlive(adder.text(0));
}

}  // namespace ravant
