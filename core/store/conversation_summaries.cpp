#include "core/store/conversation_summaries.hpp"

#include <fmt/format.h>

#include <utility>

#include "core/prompt_outcome.hpp"
#include "core/store/row_values.hpp"

namespace ravant {
namespace {

// How the latest prompt ended, where the last item is a failure.
constexpr std::string_view kFailureAtEnd =
    "(SELECT iif(failure.id = (SELECT id FROM conversation_item WHERE conversation_id = c.id "
    "ORDER BY created_at DESC, id DESC LIMIT 1), coalesce((SELECT end_reason FROM conversation_item "
    "WHERE conversation_id = c.id AND kind = 'userMessage' ORDER BY created_at DESC, id DESC LIMIT 1), 'failed'), "
    "NULL) "
    "FROM conversation_item AS failure WHERE failure.conversation_id = c.id AND failure.kind = 'failureEvent' "
    "ORDER BY failure.id DESC LIMIT 1)";

// Its columns are in the order of `readSummary`.
std::string selectSummary(std::string_view condition) {
  return fmt::format(
      "SELECT c.uuid, project.uuid, agent.uuid, c.agent_resumed_session_id, c.last_used_model, "
      "c.last_used_effort_raw_value, c.created_at, c.last_activity_at, c.last_prompt_at, c.archived, "
      "c.last_used_tokens, c.last_total_processed_tokens, c.last_input_tokens, c.last_output_tokens, "
      "c.last_cache_read_tokens, c.last_cache_creation_tokens, c.last_usage_updated_at, c.last_max_tokens, c.title, "
      "project.name, coalesce(agent.type_raw, c.agent_type), c.item_count, "
      "CASE WHEN c.title IS NULL THEN (SELECT substr(text, 1, 120) FROM conversation_item WHERE conversation_id = c.id "
      "AND kind = 'userMessage' ORDER BY created_at, id LIMIT 1) END, "
      "c.work_item_kind, c.work_item_name, c.work_item_url, "
      "(SELECT count(*) FROM conversation_item WHERE conversation_id = c.id "
      "AND (created_at, id) > (c.seen_item_at, c.seen_item_id)), "
      "{}, "
      "EXISTS (SELECT 1 FROM draft WHERE conversation_id = c.id), run.owner, run.started_at, c.agent_type "
      "FROM conversation AS c JOIN project ON project.id = c.project_id LEFT JOIN agent ON agent.id = c.agent_id "
      "LEFT JOIN run ON run.conversation_id = c.id "
      "WHERE c.importer IS NULL AND {} ORDER BY c.last_activity_at DESC, c.id DESC",
      kFailureAtEnd, condition);
}

std::optional<WorkItem> readWorkItem(const sqlite::Query& row, int column) {
  if (row.isNull(column)) return std::nullopt;
  const auto kind = workItemKindFromRawValue(row.text(column));
  if (!kind) return std::nullopt;
  return WorkItem{.kind = *kind, .name = readText(row, column + 1), .url = readText(row, column + 2)};
}

TranscriptEnd readEnd(const sqlite::Query& row, int column) {
  if (row.isNull(column)) return TranscriptEnd::ordinary;
  const bool isInterrupted = row.text(column) == rawValue(PromptOutcome::interrupted);
  return isInterrupted ? TranscriptEnd::interrupted : TranscriptEnd::failed;
}

void readRun(ConversationSummary& summary, const LivingRuns& runs, const sqlite::Query& row, int column) {
  if (row.isNull(column)) return;
  switch (runs.standing(row.text(column), summary.conversation.id)) {
    case RunStanding::here:
      summary.run = LivingRun{.place = LivingRun::Place::here, .since = readTime(row, column + 1)};
      return;
    case RunStanding::elsewhere:
      summary.run = LivingRun{.place = LivingRun::Place::elsewhere, .since = readTime(row, column + 1)};
      return;
    case RunStanding::over:
      return;
    case RunStanding::interrupted:
      summary.end = TranscriptEnd::interrupted;
      return;
  }
}

ConversationSummary readSummary(const sqlite::Query& row, const LivingRuns& runs) {
  ConversationSummary summary = {
      .conversation = {.id = readId<ConversationId>(row, 0),
                       .project = readId<ProjectId>(row, 1),
                       .agent = readOptionalId<AgentId>(row, 2),
                       .agentResumedSessionId = readOptionalText(row, 3),
                       .lastUsedModel = readOptionalText(row, 4),
                       .lastUsedEffortRawValue = readOptionalText(row, 5),
                       .createdAt = readTime(row, 6),
                       .lastActivityAt = readTime(row, 7),
                       .lastPromptAt = readTime(row, 8),
                       .archived = row.boolean(9),
                       .lastUsedTokens = row.optionalInt64(10),
                       .lastTotalProcessedTokens = row.optionalInt64(11),
                       .lastInputTokens = row.optionalInt64(12),
                       .lastOutputTokens = row.optionalInt64(13),
                       .lastCacheReadTokens = row.optionalInt64(14),
                       .lastCacheCreationTokens = row.optionalInt64(15),
                       .lastUsageUpdatedAt = readOptionalTime(row, 16),
                       .lastMaxTokens = row.optionalInt64(17),
                       .title = readOptionalText(row, 18),
                       .workItem = readWorkItem(row, 23),
                       .foreignAgentType = row.optionalText(31).and_then(agentTypeFromRawValue)},
      .projectName = readText(row, 19),
      .agentType = row.isNull(20) ? std::nullopt : agentTypeFromRawValue(row.text(20)),
      .items = row.int64(21),
      .firstWords = readOptionalText(row, 22),
      .unread = row.int64(26),
      .end = readEnd(row, 27),
      .hasDraft = row.boolean(28)};
  readRun(summary, runs, row, 29);
  return summary;
}

}  // namespace

ConversationSummaries::ConversationSummaries(StoreConnection& store, const LivingRuns& livingRuns)
    : livingRuns_(livingRuns),
      one_(store.prepare(selectSummary("c.uuid = ?"))),
      list_(store.prepare(selectSummary("(?1 IS NULL OR project.uuid = ?1) AND (?2 IS NULL OR c.archived = ?2)") +
                          " LIMIT ?3")),
      withPrefix_(store.prepare(selectSummary("substr(lower(hex(c.uuid)), 1, length(?1)) = ?1"))) {}

std::optional<ConversationSummary> ConversationSummaries::find(ConversationId id) {
  auto row = one_.query(bound(id));
  return row.step() ? std::optional(readSummary(row, livingRuns_)) : std::nullopt;
}

std::vector<ConversationSummary> ConversationSummaries::list(const ConversationQuery& query) {
  const auto project = query.project ? std::optional(bound(*query.project)) : std::nullopt;
  std::optional<bool> archived;
  if (query.archived != ArchivedConversations::included) archived = query.archived == ArchivedConversations::only;
  return all(list_.query(project, archived, query.limit.value_or(-1)));
}

std::vector<ConversationSummary> ConversationSummaries::withPrefix(std::string_view prefix) {
  return all(withPrefix_.query(prefix));
}

std::vector<ConversationSummary> ConversationSummaries::all(sqlite::Query rows) const {
  std::vector<ConversationSummary> found;
  while (rows.step()) found.push_back(readSummary(rows, livingRuns_));
  return found;
}

}  // namespace ravant
