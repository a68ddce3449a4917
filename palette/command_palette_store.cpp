#include "palette/command_palette_store.hpp"

#include <fmt/format.h>

#include <charconv>
#include <utility>

#include "core/conversation_state.hpp"
#include "core/store/row_values.hpp"
#include "core/store/store_connection.hpp"

namespace ravant {
namespace {

constexpr std::int64_t kUsesKept = 200;
constexpr std::chrono::milliseconds kPatience{50};  // what could not be stored is stored with the next use

constexpr std::string_view kConversations =
    "SELECT c.uuid, project.uuid, project.name, coalesce(c.title, ''), coalesce((SELECT substr(text, 1, 120) "
    "FROM conversation_item WHERE c.title IS NULL AND conversation_id = c.id AND kind = 'userMessage' "
    "ORDER BY created_at, id LIMIT 1), ''), c.archived, c.last_activity_at "
    "FROM conversation AS c JOIN project ON project.id = c.project_id AND c.importer IS NULL ";

constexpr std::string_view kIssues =
    "SELECT issue.id, integration.uuid, issue.identifier, issue.title, issue.team_name, issue.updated_at "
    "FROM linear_issue AS issue JOIN integration ON integration.id = issue.integration_id ";

constexpr std::string_view kPulls =
    "SELECT pull.id, integration.uuid, pull.repository_name, pull.number, pull.title, pull.closed, pull.rank "
    "FROM github_pull_request AS pull JOIN integration ON integration.id = pull.integration_id ";

PaletteListing listedUnless(bool isHidden) { return isHidden ? PaletteListing::recentOnly : PaletteListing::section; }

PaletteCandidate readConversation(const sqlite::Query& row) {
  const ConversationTarget target{readId<ConversationId>(row, 0), readId<ProjectId>(row, 1)};
  PaletteCandidate candidate = paletteCandidate(target, displayTitle(readText(row, 3), readText(row, 4)), row.text(2));
  candidate.listing = listedUnless(row.boolean(5));
  candidate.order = -row.int64(6);
  return candidate;
}

PaletteCandidate readProject(const sqlite::Query& row) {
  return projectCandidate(readId<ProjectId>(row, 0), row.text(1), row.text(2));
}

PaletteCandidate readIntegration(const sqlite::Query& row) {
  if (row.text(1) == "github") {
    return paletteCandidate(readId<GithubIntegrationId>(row, 0), fmt::format("{}@{}", row.text(2), row.text(3)),
                            "GitHub");
  }
  return paletteCandidate(readId<LinearIntegrationId>(row, 0), row.text(4), "Linear", {readText(row, 5)});
}

PaletteCandidate readIssue(const sqlite::Query& row) {
  const std::string identifier = readText(row, 2);
  PaletteCandidate candidate =
      paletteCandidate(LinearIssueTarget{readId<LinearIssueId>(row, 0), readId<LinearIntegrationId>(row, 1)},
                       row.text(3), fmt::format("{} · {}", identifier, row.text(4)), {identifier});
  candidate.order = -row.int64(5);
  return candidate;
}

PaletteCandidate readPull(const sqlite::Query& row) {
  const std::string name = fmt::format("{}#{}", row.text(2), row.int64(3));
  PaletteCandidate candidate =
      paletteCandidate(GithubPullTarget{readId<GithubPullRequestId>(row, 0), readId<GithubIntegrationId>(row, 1)},
                       row.text(4), name, {name});
  candidate.listing = listedUnless(row.boolean(5));
  candidate.order = row.int64(6);
  return candidate;
}

template <class RowId>
std::optional<PaletteRow> numbered(std::string_view digits) {
  std::int64_t number = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), number);
  if (error != std::errc() || end != digits.data() + digits.size()) return std::nullopt;
  return RowId(number);
}

/// Nothing for entries of other kinds, all of which are listed.
std::optional<PaletteRow> rowOf(std::string_view id) {
  const std::size_t dot = id.find('.');
  if (dot == std::string_view::npos) return std::nullopt;
  const std::string_view kind = id.substr(0, dot);
  const std::string_view record = id.substr(dot + 1);
  if (kind == "linearIssue") return numbered<LinearIssueId>(record);
  if (kind == "githubPull") return numbered<GithubPullRequestId>(record);
  if (kind != "conversation") return std::nullopt;
  const auto uuid = Uuid::parse(record);
  return uuid ? std::optional<PaletteRow>(ConversationId(*uuid)) : std::nullopt;
}

}  // namespace

/// The operations themselves, run one after another on the store's strand.
class CommandPaletteOperations {
 public:
  explicit CommandPaletteOperations(std::shared_ptr<ModelContainer> modelContainer)
      : store_(std::move(modelContainer)),
        conversations_(store_.prepare(
            fmt::format("{}WHERE c.archived = 0 ORDER BY c.last_activity_at DESC, c.id DESC", kConversations))),
        conversation_(store_.prepare(fmt::format("{}WHERE c.uuid = ?", kConversations))),
        projects_(store_.prepare("SELECT uuid, name, path FROM project ORDER BY sidebar_order, id")),
        integrations_(store_.prepare("SELECT uuid, kind, username, host, workspace_name, workspace_url_key "
                                     "FROM integration ORDER BY created_at, id")),
        issues_(store_.prepare(fmt::format("{}ORDER BY issue.updated_at DESC, issue.id DESC", kIssues))),
        issue_(store_.prepare(fmt::format("{}WHERE issue.id = ?", kIssues))),
        pulls_(store_.prepare(fmt::format("{}WHERE pull.closed = 0 ORDER BY pull.rank, pull.id", kPulls))),
        pull_(store_.prepare(fmt::format("{}WHERE pull.id = ?", kPulls))),
        uses_(store_.prepare("SELECT item_id FROM palette_use ORDER BY used_at DESC, item_id")),
        recordUse_(store_.prepare("INSERT INTO palette_use (item_id, used_at) VALUES (?1, "
                                  "max(?2, coalesce((SELECT max(used_at) + 1 FROM palette_use), ?2))) "
                                  "ON CONFLICT DO UPDATE SET used_at = excluded.used_at")),
        dropOldUses_(store_.prepare("DELETE FROM palette_use WHERE used_at <= "
                                    "(SELECT used_at FROM palette_use ORDER BY used_at DESC LIMIT 1 OFFSET ?)")) {
    store_.waitAtMost(kPatience);
  }

  CommandPaletteContents contents() {
    return store_.read([&] {
      CommandPaletteContents contents;
      append(contents.candidates, conversations_, readConversation);
      append(contents.candidates, projects_, readProject);
      append(contents.candidates, integrations_, readIntegration);
      append(contents.candidates, issues_, readIssue);
      append(contents.candidates, pulls_, readPull);
      auto row = uses_.query();
      while (row.step()) contents.usedIds.push_back(readText(row, 0));
      appendUsed(contents);
      return contents;
    });
  }

  std::vector<std::optional<PaletteCandidate>> candidates(const std::vector<PaletteRow>& rows) {
    return store_.read([&] {
      std::vector<std::optional<PaletteCandidate>> found;
      for (const PaletteRow& row : rows) found.push_back(candidate(row));
      return found;
    });
  }

  void recordUses(const std::vector<std::string>& ids) {
    store_.write(Durability::processDeath, [&](Changes&) {
      for (const std::string& id : ids) recordUse_.run(id, bound(store_.now()));
      dropOldUses_.run(kUsesKept);
    });
  }

 private:
  template <class Read>
  static void append(std::vector<PaletteCandidate>& candidates, sqlite::Statement& statement, Read read) {
    auto row = statement.query();
    while (row.step()) candidates.push_back(read(row));
  }

  void appendUsed(CommandPaletteContents& contents) {
    for (const std::string& id : contents.usedIds) {
      const auto row = rowOf(id);
      auto used = row ? candidate(*row) : std::nullopt;
      if (used && used->listing == PaletteListing::recentOnly) contents.candidates.push_back(*std::move(used));
    }
  }

  std::optional<PaletteCandidate> candidate(const PaletteRow& row) {
    if (const auto* id = std::get_if<ConversationId>(&row)) return one(conversation_, *id, readConversation);
    if (const auto* id = std::get_if<LinearIssueId>(&row)) return one(issue_, *id, readIssue);
    return one(pull_, std::get<GithubPullRequestId>(row), readPull);
  }

  template <class EntityId, class Read>
  static std::optional<PaletteCandidate> one(sqlite::Statement& statement, const EntityId& id, Read read) {
    auto row = statement.query(bound(id));
    return row.step() ? std::optional(read(row)) : std::nullopt;
  }

  StoreConnection store_;
  sqlite::Statement conversations_;
  sqlite::Statement conversation_;
  sqlite::Statement projects_;
  sqlite::Statement integrations_;
  sqlite::Statement issues_;
  sqlite::Statement issue_;
  sqlite::Statement pulls_;
  sqlite::Statement pull_;
  sqlite::Statement uses_;
  sqlite::Statement recordUse_;
  sqlite::Statement dropOldUses_;
};

std::shared_ptr<CommandPaletteStore> CommandPaletteStore::make(std::shared_ptr<ModelContainer> modelContainer) {
  return std::make_shared<CommandPaletteStore>(std::move(modelContainer));
}

CommandPaletteStore::CommandPaletteStore(std::shared_ptr<ModelContainer> modelContainer)
    : StoreActor(std::move(modelContainer)) {}

CommandPaletteStore::~CommandPaletteStore() = default;

awaitable<CommandPaletteContents> CommandPaletteStore::contents() {
  return perform([](auto& operations) { return operations.contents(); });
}

awaitable<std::vector<std::optional<PaletteCandidate>>> CommandPaletteStore::candidates(std::vector<PaletteRow> rows) {
  return perform([rows = std::move(rows)](auto& operations) { return operations.candidates(rows); });
}

awaitable<void> CommandPaletteStore::recordUses(std::vector<std::string> ids) {
  return perform([ids = std::move(ids)](auto& operations) { operations.recordUses(ids); });
}

}  // namespace ravant
