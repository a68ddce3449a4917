#include "core/store/schema.hpp"

#include <array>

namespace ravant {
namespace {

// Times are microseconds since 1970-01-01 UTC. Entities that are named outside the store carry a
// UUID beside the row number by which rows refer to each other.
constexpr std::string_view kVersion1 = R"sql(
CREATE TABLE project (
  id INTEGER PRIMARY KEY,
  uuid BLOB NOT NULL UNIQUE CHECK (length(uuid) = 16),
  path TEXT NOT NULL UNIQUE,
  name TEXT NOT NULL,
  created_at INTEGER NOT NULL,
  expanded_in_sidebar INTEGER NOT NULL CHECK (expanded_in_sidebar IN (0, 1)),
  sidebar_order INTEGER NOT NULL
) STRICT;

CREATE TABLE agent (
  id INTEGER PRIMARY KEY,
  uuid BLOB NOT NULL UNIQUE CHECK (length(uuid) = 16),
  path TEXT NOT NULL,
  type_raw TEXT NOT NULL CHECK (type_raw IN ('ravant', 'codex', 'claude', 'pi', 'cursor')),
  enabled INTEGER NOT NULL CHECK (enabled IN (0, 1)),
  created_at INTEGER NOT NULL,
  sort_order INTEGER NOT NULL
) STRICT;

CREATE TABLE agent_model (
  id INTEGER PRIMARY KEY AUTOINCREMENT,
  agent_id INTEGER NOT NULL REFERENCES agent (id) ON DELETE CASCADE,
  slug TEXT NOT NULL,
  sort_order INTEGER NOT NULL,
  enabled INTEGER NOT NULL CHECK (enabled IN (0, 1)),
  display_name TEXT NOT NULL,
  efforts TEXT NOT NULL CHECK (json_type(efforts) = 'array'),
  default_effort TEXT,
  supports_thinking INTEGER NOT NULL CHECK (supports_thinking IN (0, 1)),
  supports_fast_mode INTEGER NOT NULL CHECK (supports_fast_mode IN (0, 1)),
  context_window_options TEXT NOT NULL CHECK (json_type(context_window_options) = 'array'),
  default_context_window TEXT,
  prompt_injected_efforts TEXT NOT NULL CHECK (json_type(prompt_injected_efforts) = 'array'),
  visibility TEXT NOT NULL CHECK (visibility IN ('listed', 'settingsOnly', 'hidden')),
  refreshed_at INTEGER NOT NULL,
  is_custom INTEGER NOT NULL CHECK (is_custom IN (0, 1)),
  UNIQUE (agent_id, slug)
) STRICT;

CREATE TABLE conversation (
  id INTEGER PRIMARY KEY,
  uuid BLOB NOT NULL UNIQUE CHECK (length(uuid) = 16),
  project_id INTEGER NOT NULL REFERENCES project (id) ON DELETE CASCADE,
  agent_id INTEGER REFERENCES agent (id) ON DELETE SET NULL,
  agent_resumed_session_id TEXT,
  last_used_model TEXT,
  last_used_effort_raw_value TEXT,
  created_at INTEGER NOT NULL,
  last_activity_at INTEGER NOT NULL,
  last_prompt_at INTEGER NOT NULL,
  archived INTEGER NOT NULL CHECK (archived IN (0, 1)),
  last_used_tokens INTEGER,
  last_total_processed_tokens INTEGER,
  last_input_tokens INTEGER,
  last_output_tokens INTEGER,
  last_cache_read_tokens INTEGER,
  last_cache_creation_tokens INTEGER,
  last_usage_updated_at INTEGER,
  last_max_tokens INTEGER,
  title TEXT
) STRICT;
CREATE INDEX conversation_by_project ON conversation (project_id);
CREATE INDEX conversation_by_agent ON conversation (agent_id);
CREATE INDEX conversation_by_activity ON conversation (last_activity_at);

CREATE TABLE conversation_item (
  id INTEGER PRIMARY KEY AUTOINCREMENT,
  conversation_id INTEGER NOT NULL REFERENCES conversation (id) ON DELETE CASCADE,
  kind TEXT NOT NULL CHECK (kind IN ('userMessage', 'agentMessage', 'toolInvocationGroup',
                                     'compactionEvent', 'failureEvent')),
  created_at INTEGER NOT NULL,
  agent_model TEXT,
  provider_message_id TEXT,
  input_tokens INTEGER,
  output_tokens INTEGER,
  cache_read_tokens INTEGER,
  cache_creation_tokens INTEGER,
  used_tokens INTEGER,
  total_processed_tokens INTEGER,
  text TEXT NOT NULL,
  raw_json TEXT NOT NULL
) STRICT;
CREATE INDEX conversation_item_in_order ON conversation_item (conversation_id, created_at, id);
CREATE INDEX conversation_item_by_provider_message
  ON conversation_item (conversation_id, provider_message_id, created_at DESC) WHERE provider_message_id IS NOT NULL;

CREATE TABLE message_block (
  message_id INTEGER NOT NULL REFERENCES conversation_item (id) ON DELETE CASCADE,
  position INTEGER NOT NULL,
  kind TEXT NOT NULL CHECK (kind IN ('prose', 'code')),
  language TEXT,
  text TEXT NOT NULL,
  PRIMARY KEY (message_id, position)
) STRICT, WITHOUT ROWID;

CREATE TABLE tool_invocation (
  id INTEGER PRIMARY KEY AUTOINCREMENT,
  group_id INTEGER NOT NULL REFERENCES conversation_item (id) ON DELETE CASCADE,
  conversation_id INTEGER NOT NULL REFERENCES conversation (id) ON DELETE CASCADE,
  created_at INTEGER NOT NULL,
  completed_at INTEGER,
  status_raw_value TEXT NOT NULL CHECK (status_raw_value IN ('running', 'completed', 'failed')),
  tool_name TEXT NOT NULL,
  tool_call_id TEXT NOT NULL,
  text TEXT NOT NULL,
  input TEXT,
  output TEXT,
  raw_json TEXT NOT NULL
) STRICT;
CREATE INDEX tool_invocation_by_group ON tool_invocation (group_id);
CREATE INDEX tool_invocation_by_call ON tool_invocation (conversation_id, tool_call_id, id);
CREATE INDEX tool_invocation_running ON tool_invocation (conversation_id) WHERE status_raw_value = 'running';

-- The prompts in flight, each with the process that runs it, so that what a dead process left
-- running can be told from what a living one still runs.
CREATE TABLE run (
  conversation_id INTEGER PRIMARY KEY REFERENCES conversation (id) ON DELETE CASCADE,
  owner TEXT NOT NULL,
  started_at INTEGER NOT NULL
) STRICT;

-- What was committed, in order, for observers in this and other processes; old rows are dropped.
CREATE TABLE change (
  sequence INTEGER PRIMARY KEY,
  entity INTEGER NOT NULL,
  operation INTEGER NOT NULL,
  id ANY NOT NULL,
  conversation BLOB
) STRICT;

-- When the whole file was last found sound.
CREATE TABLE integrity_check (
  only_row INTEGER PRIMARY KEY CHECK (only_row = 1),
  checked_at INTEGER NOT NULL
) STRICT;
)sql";

constexpr std::string_view kVersion2 = R"sql(
ALTER TABLE agent ADD COLUMN arguments TEXT CHECK (arguments IS NULL OR json_type(arguments) = 'array');
)sql";

constexpr std::string_view kVersion3 = R"sql(
ALTER TABLE conversation_item ADD COLUMN end_reason TEXT
  CHECK (end_reason IN ('finished', 'failed', 'cancelled', 'interrupted', 'limit'));
ALTER TABLE conversation_item ADD COLUMN ended_at INTEGER;
-- The prompt that the run is about, once it stands in the transcript.
ALTER TABLE run ADD COLUMN prompt_id INTEGER REFERENCES conversation_item (id) ON DELETE SET NULL;
)sql";

constexpr std::array kMigrations = {Migration{kVersion1}, Migration{kVersion2}, Migration{kVersion3}};

}  // namespace

std::span<const Migration> migrations() { return kMigrations; }

}  // namespace ravant
