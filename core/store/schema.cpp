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

constexpr std::string_view kVersion4 = R"sql(
CREATE TABLE integration (
  id INTEGER PRIMARY KEY,
  uuid BLOB NOT NULL UNIQUE CHECK (length(uuid) = 16),
  kind TEXT NOT NULL CHECK (kind IN ('github', 'linear')),
  created_at INTEGER NOT NULL,
  host TEXT CHECK ((host IS NOT NULL) = (kind = 'github')),
  username TEXT COLLATE NOCASE CHECK ((username IS NOT NULL) = (kind = 'github')),
  last_selected_content TEXT CHECK (last_selected_content IN ('pulls', 'issues', 'actions')),
  latest_sync_at INTEGER,
  workspace_url_key TEXT CHECK ((workspace_url_key IS NOT NULL) = (kind = 'linear')),
  workspace_name TEXT,
  user_name TEXT,
  user_email TEXT CHECK ((user_email IS NOT NULL) = (kind = 'linear')),
  UNIQUE (host, username),
  UNIQUE (workspace_url_key, user_email)
) STRICT;

-- Until when a host wants no requests of an account, for each of its limits.
CREATE TABLE github_pause (
  integration_id INTEGER NOT NULL REFERENCES integration (id) ON DELETE CASCADE,
  resource TEXT NOT NULL,
  until INTEGER NOT NULL,
  PRIMARY KEY (integration_id, resource)
) STRICT, WITHOUT ROWID;

-- How the latest whole sync of a search went. `cost` is that of those too that failed after it, or before the first,
-- which has no time until then.
CREATE TABLE github_sync (
  integration_id INTEGER NOT NULL REFERENCES integration (id) ON DELETE CASCADE,
  search_text TEXT NOT NULL,
  synced_at INTEGER,
  cost INTEGER NOT NULL,
  pull_requests INTEGER NOT NULL,
  gap TEXT NOT NULL CHECK (gap IN ('none', 'beyondLimit', 'unread')),
  PRIMARY KEY (integration_id, search_text)
) STRICT, WITHOUT ROWID;

CREATE TABLE github_repository (
  id INTEGER PRIMARY KEY AUTOINCREMENT,
  integration_id INTEGER NOT NULL REFERENCES integration (id) ON DELETE CASCADE,
  repository_id INTEGER NOT NULL,
  name TEXT NOT NULL,
  full_name TEXT NOT NULL,
  is_private INTEGER NOT NULL CHECK (is_private IN (0, 1)),
  pushed_at INTEGER,
  UNIQUE (integration_id, repository_id)
) STRICT;

-- What is known of the user's part in a pull request is the sum of `involvement`: 1 involved, 2 assigned,
-- 4 asked for a review, 8 mentioned. `rank` is the place in the search that last returned it, behind all of them where
-- it came by itself. `synced_at` is when it was last returned, `asked_at` when it was returned or asked for in vain. The names of repositories are the same whatever the case of their letters.
CREATE TABLE github_pull_request (
  id INTEGER PRIMARY KEY AUTOINCREMENT,
  integration_id INTEGER NOT NULL REFERENCES integration (id) ON DELETE CASCADE,
  node_id TEXT NOT NULL,
  number INTEGER NOT NULL,
  title TEXT NOT NULL,
  url TEXT NOT NULL,
  is_draft INTEGER NOT NULL CHECK (is_draft IN (0, 1)),
  merged INTEGER NOT NULL CHECK (merged IN (0, 1)),
  closed INTEGER NOT NULL CHECK (closed IN (0, 1)),
  repository_name TEXT NOT NULL COLLATE NOCASE,
  author_username TEXT,
  author_username_folded TEXT,
  review_decision_raw TEXT,
  check_state_raw TEXT,
  involvement INTEGER NOT NULL,
  rank INTEGER NOT NULL,
  synced_at INTEGER NOT NULL,
  asked_at INTEGER NOT NULL,
  UNIQUE (integration_id, node_id)
) STRICT;
CREATE INDEX github_pull_request_by_name ON github_pull_request (integration_id, repository_name, number);
-- A filter asks for the user's part, for an author, or for repositories.
CREATE INDEX github_pull_request_by_part ON github_pull_request (integration_id, merged, closed) WHERE involvement <> 0;
CREATE INDEX github_pull_request_by_author ON github_pull_request (integration_id, author_username_folded);
CREATE INDEX github_pull_request_by_state ON github_pull_request (integration_id, merged, closed, repository_name,
  is_draft, review_decision_raw, check_state_raw);

CREATE TABLE github_pull_detail_cache (
  id INTEGER PRIMARY KEY AUTOINCREMENT,
  integration_id INTEGER NOT NULL REFERENCES integration (id) ON DELETE CASCADE,
  pull_url TEXT NOT NULL COLLATE NOCASE UNIQUE,
  body_text TEXT,
  files_data TEXT NOT NULL CHECK (json_type(files_data) = 'array'),
  fetched_at INTEGER NOT NULL
) STRICT;
CREATE INDEX github_pull_detail_cache_by_integration ON github_pull_detail_cache (integration_id);

CREATE TABLE linear_team (
  id INTEGER PRIMARY KEY AUTOINCREMENT,
  integration_id INTEGER NOT NULL REFERENCES integration (id) ON DELETE CASCADE,
  team_id TEXT NOT NULL,
  key TEXT NOT NULL,
  name TEXT NOT NULL,
  color_hex TEXT,
  UNIQUE (integration_id, team_id)
) STRICT;

CREATE TABLE linear_issue (
  id INTEGER PRIMARY KEY AUTOINCREMENT,
  integration_id INTEGER NOT NULL REFERENCES integration (id) ON DELETE CASCADE,
  issue_id TEXT NOT NULL,
  identifier TEXT NOT NULL,
  title TEXT NOT NULL,
  description_text TEXT,
  state_name TEXT NOT NULL,
  state_color_hex TEXT NOT NULL,
  state_type_raw TEXT NOT NULL,
  priority INTEGER NOT NULL,
  priority_label TEXT NOT NULL,
  team_key TEXT NOT NULL,
  team_name TEXT NOT NULL,
  project_name TEXT,
  url TEXT NOT NULL,
  created_at INTEGER NOT NULL,
  updated_at INTEGER NOT NULL,
  UNIQUE (integration_id, issue_id)
) STRICT;

CREATE TABLE pinned_item (
  id INTEGER PRIMARY KEY,
  uuid BLOB NOT NULL UNIQUE CHECK (length(uuid) = 16),
  kind TEXT NOT NULL CHECK (kind IN ('githubPullRequests', 'linearIssues')),
  integration_id INTEGER NOT NULL REFERENCES integration (id) ON DELETE CASCADE,
  sidebar_order INTEGER NOT NULL,
  custom_title TEXT,
  created_at INTEGER NOT NULL,
  repository_full_names TEXT CHECK (json_type(repository_full_names) = 'array'),
  involvement TEXT,
  state TEXT,
  review TEXT,
  checks TEXT,
  draft TEXT,
  team_key TEXT,
  team_name TEXT,
  sort_order_string TEXT,
  CHECK (kind <> 'githubPullRequests' OR (repository_full_names IS NOT NULL AND involvement IS NOT NULL
    AND state IS NOT NULL AND review IS NOT NULL AND checks IS NOT NULL AND draft IS NOT NULL)),
  CHECK (kind <> 'linearIssues' OR (team_key IS NOT NULL AND team_name IS NOT NULL AND sort_order_string IS NOT NULL))
) STRICT;
CREATE INDEX pinned_item_by_integration ON pinned_item (integration_id);

-- The pull request or issue that a conversation began with, as it was called then.
ALTER TABLE conversation ADD COLUMN work_item_kind TEXT CHECK (work_item_kind IN ('githubPull', 'linearIssue'));
ALTER TABLE conversation ADD COLUMN work_item_name TEXT;
ALTER TABLE conversation ADD COLUMN work_item_url TEXT;
)sql";

constexpr std::string_view kVersion5 = R"sql(
-- Up to which item (ids are never used again) the conversation was looked at. What was there before this was kept counts
-- as looked at.
ALTER TABLE conversation ADD COLUMN seen_item_id INTEGER NOT NULL DEFAULT 0;
ALTER TABLE conversation ADD COLUMN seen_item_at INTEGER NOT NULL DEFAULT 0;
UPDATE conversation SET (seen_item_id, seen_item_at) = (SELECT item.id, item.created_at FROM conversation_item AS item
  WHERE item.conversation_id = conversation.id ORDER BY item.created_at DESC, item.id DESC LIMIT 1)
  WHERE EXISTS (SELECT 1 FROM conversation_item AS item WHERE item.conversation_id = conversation.id);
CREATE INDEX conversation_item_prompt ON conversation_item (conversation_id, created_at, id)
  WHERE kind = 'userMessage';
CREATE INDEX conversation_item_failure ON conversation_item (conversation_id) WHERE kind = 'failureEvent';

ALTER TABLE conversation ADD COLUMN item_count INTEGER NOT NULL DEFAULT 0;
UPDATE conversation SET item_count = (SELECT count(*) FROM conversation_item WHERE conversation_id = conversation.id);
CREATE TRIGGER conversation_item_added AFTER INSERT ON conversation_item
BEGIN
  UPDATE conversation SET item_count = item_count + 1 WHERE id = new.conversation_id;
END;
CREATE TRIGGER conversation_item_removed AFTER DELETE ON conversation_item
BEGIN
  UPDATE conversation SET item_count = item_count - 1 WHERE id = old.conversation_id;
END;

-- Of a conversation that came from elsewhere, where no agent of its type was registered.
ALTER TABLE conversation ADD COLUMN agent_type TEXT
  CHECK (agent_type IN ('ravant', 'codex', 'claude', 'pi', 'cursor'));

-- The process that is bringing the conversation in or removing it, which is in no list meanwhile.
ALTER TABLE conversation ADD COLUMN importer TEXT;
CREATE INDEX conversation_being_imported ON conversation (importer) WHERE importer IS NOT NULL;

-- What is typed and not sent yet: of a conversation, or of the one that would begin in a project.
CREATE TABLE draft (
  id INTEGER PRIMARY KEY,
  conversation_id INTEGER UNIQUE REFERENCES conversation (id) ON DELETE CASCADE,
  project_id INTEGER UNIQUE REFERENCES project (id) ON DELETE CASCADE,
  text TEXT NOT NULL,
  changed_at INTEGER NOT NULL,
  CHECK ((conversation_id IS NULL) <> (project_id IS NULL))
) STRICT;

-- Prompts that wait for the one before them to end.
CREATE TABLE queued_prompt (
  id INTEGER PRIMARY KEY AUTOINCREMENT,
  conversation_id INTEGER NOT NULL REFERENCES conversation (id) ON DELETE CASCADE,
  sort_order INTEGER NOT NULL,
  prompt TEXT NOT NULL,
  model TEXT,
  effort TEXT,
  created_at INTEGER NOT NULL
) STRICT;
CREATE INDEX queued_prompt_in_order ON queued_prompt (conversation_id, sort_order, id);

-- The sessions that came from the agents' own files, each with how far its file was read. `state` is the reader's own.
-- `importer` is the process that is adding what is new.
CREATE TABLE imported_session (
  conversation_id INTEGER PRIMARY KEY REFERENCES conversation (id) ON DELETE CASCADE,
  agent_type TEXT NOT NULL CHECK (agent_type IN ('ravant', 'codex', 'claude', 'pi', 'cursor')),
  session_id TEXT NOT NULL,
  file TEXT NOT NULL,
  inode INTEGER NOT NULL,
  byte_offset INTEGER NOT NULL,
  state TEXT NOT NULL,
  imported_at INTEGER NOT NULL,
  importer TEXT,
  UNIQUE (agent_type, session_id)
) STRICT;
CREATE INDEX conversation_by_session ON conversation (agent_resumed_session_id)
  WHERE agent_resumed_session_id IS NOT NULL;

-- What was executed in the palette, by the id of its entry.
CREATE TABLE palette_use (
  item_id TEXT PRIMARY KEY,
  used_at INTEGER NOT NULL
) STRICT, WITHOUT ROWID;

-- What each window showed last.
CREATE TABLE window_selection (
  window TEXT PRIMARY KEY,
  snapshot TEXT NOT NULL CHECK (json_type(snapshot) = 'object'),
  changed_at INTEGER NOT NULL
) STRICT, WITHOUT ROWID;
)sql";

// A full-text table is dropped by what it says of itself: that is made readable first. What of it stays, stays where
// the table itself is not there.
constexpr std::string_view kSearchIndex = R"sql(
DROP TRIGGER IF EXISTS search_invocation_changed;
DROP TRIGGER IF EXISTS search_item_removed;
DROP TRIGGER IF EXISTS search_invocation_removed;
DROP TABLE IF EXISTS search_stale;
DROP TABLE IF EXISTS search_week;
DROP TABLE IF EXISTS search_progress;

DROP TABLE IF EXISTS search_item_config;
DROP TABLE IF EXISTS search_item_data;
CREATE TABLE search_item_config (k PRIMARY KEY, v) WITHOUT ROWID;
CREATE TABLE search_item_data (id INTEGER PRIMARY KEY, block BLOB);
INSERT INTO search_item_config VALUES ('version', 4);
INSERT INTO search_item_data VALUES (10, x'00000000000000');
DROP TABLE IF EXISTS search_item;
DROP TABLE IF EXISTS search_item_data;
DROP TABLE IF EXISTS search_item_idx;
DROP TABLE IF EXISTS search_item_config;

DROP TABLE IF EXISTS search_invocation_config;
DROP TABLE IF EXISTS search_invocation_data;
CREATE TABLE search_invocation_config (k PRIMARY KEY, v) WITHOUT ROWID;
CREATE TABLE search_invocation_data (id INTEGER PRIMARY KEY, block BLOB);
INSERT INTO search_invocation_config VALUES ('version', 4);
INSERT INTO search_invocation_data VALUES (10, x'00000000000000');
DROP TABLE IF EXISTS search_invocation;
DROP TABLE IF EXISTS search_invocation_data;
DROP TABLE IF EXISTS search_invocation_idx;
DROP TABLE IF EXISTS search_invocation_config;

-- The words of items and of tool calls, under their ids. A word that is no longer in a text stays here until the index
-- is rebuilt, so whoever finds something looks into the text too. Words of letters beyond those of any script, which
-- begin with U+E000, say where the text belongs.
CREATE VIRTUAL TABLE search_item USING fts5 (words, content = '', columnsize = 0, detail = none, tokenize = 'ascii',
  prefix = '1 2 3');
CREATE VIRTUAL TABLE search_invocation USING fts5 (words, content = '', columnsize = 0, detail = none,
  tokenize = 'ascii', prefix = '1 2 3');
INSERT INTO search_item (search_item, rank) VALUES ('automerge', 8), ('hashsize', 8388608);
INSERT INTO search_invocation (search_invocation, rank) VALUES ('automerge', 8), ('hashsize', 8388608);

-- Indexed is what has an id above `above`, up to `up_to`. What is new is behind it; what was there before the index
-- was begun is before it, and is taken in from its end. `removed` counts what was indexed and is gone.
CREATE TABLE search_progress (
  source TEXT PRIMARY KEY CHECK (source IN ('item', 'invocation')),
  above INTEGER NOT NULL,
  up_to INTEGER NOT NULL,
  removed INTEGER NOT NULL
) STRICT, WITHOUT ROWID;
INSERT INTO search_progress SELECT 'item', id, id, 0 FROM (SELECT coalesce(max(id), 0) AS id FROM conversation_item);
INSERT INTO search_progress
  SELECT 'invocation', id, id, 0 FROM (SELECT coalesce(max(id), 0) AS id FROM tool_invocation);

-- The weeks since 1970 in which something that was indexed was created.
CREATE TABLE search_week (
  source TEXT NOT NULL CHECK (source IN ('item', 'invocation')),
  week INTEGER NOT NULL,
  PRIMARY KEY (source, week)
) STRICT, WITHOUT ROWID;

-- The tool calls that have changed since they were indexed.
CREATE TABLE search_stale (
  invocation_id INTEGER PRIMARY KEY
) STRICT;

CREATE TRIGGER search_invocation_changed
AFTER UPDATE OF tool_name, text, input, output, status_raw_value ON tool_invocation
WHEN EXISTS (SELECT 1 FROM search_progress WHERE source = 'invocation' AND new.id > above AND new.id <= up_to)
BEGIN
  INSERT INTO search_stale VALUES (new.id) ON CONFLICT DO NOTHING;
END;
CREATE TRIGGER search_item_removed AFTER DELETE ON conversation_item
BEGIN
  UPDATE search_progress SET removed = removed + 1 WHERE source = 'item' AND old.id > above AND old.id <= up_to;
END;
CREATE TRIGGER search_invocation_removed AFTER DELETE ON tool_invocation
BEGIN
  UPDATE search_progress SET removed = removed + 1 WHERE source = 'invocation' AND old.id > above AND old.id <= up_to;
END;
)sql";

// Version 7 has the words of the index by other rules for letters.
constexpr std::array kMigrations = {Migration{kVersion1},   Migration{kVersion2}, Migration{kVersion3},
                                    Migration{kVersion4},   Migration{kVersion5}, Migration{kSearchIndex},
                                    Migration{kSearchIndex}};

}  // namespace

std::span<const Migration> migrations() { return kMigrations; }

std::string_view searchIndexScript() { return kSearchIndex; }

}  // namespace ravant
