#include "integrations/linear/linear_issue_model_actor.hpp"

#include <fmt/format.h>

#include <unordered_map>
#include <utility>

#include "integrations/linear/linear_integration_rows.hpp"
#include "integrations/linear/linear_issue_order.hpp"

namespace ravant {
namespace {

constexpr std::string_view kSelect =
    "SELECT id, issue_id, identifier, title, description_text, state_name, state_color_hex, state_type_raw, priority, "
    "priority_label, team_key, team_name, project_name, url, created_at, updated_at FROM linear_issue ";

LinearIssue readIssue(const sqlite::Query& row, LinearIntegrationId integration) {
  return {.id = readId<LinearIssueId>(row, 0),
          .integration = integration,
          .issueID = readText(row, 1),
          .identifier = readText(row, 2),
          .title = readText(row, 3),
          .descriptionText = readOptionalText(row, 4),
          .stateName = readText(row, 5),
          .stateColorHex = readText(row, 6),
          .stateTypeRaw = readText(row, 7),
          .priority = row.int64(8),
          .priorityLabel = readText(row, 9),
          .teamKey = readText(row, 10),
          .teamName = readText(row, 11),
          .projectName = readOptionalText(row, 12),
          .url = readText(row, 13),
          .createdAt = readTime(row, 14),
          .updatedAt = readTime(row, 15)};
}

LinearIssue makeIssue(const LinearIssuePayload& payload, LinearIssueId id, LinearIntegrationId integration) {
  return {.id = id,
          .integration = integration,
          .issueID = payload.id,
          .identifier = payload.identifier,
          .title = payload.title,
          .descriptionText = payload.description,
          .stateName = payload.stateName,
          .stateColorHex = payload.stateColor,
          .stateTypeRaw = payload.stateTypeRaw,
          .priority = payload.priority,
          .priorityLabel = payload.priorityLabel,
          .teamKey = payload.teamKey,
          .teamName = payload.teamName,
          .projectName = payload.projectName,
          .url = payload.url,
          .createdAt = payload.createdAt,
          .updatedAt = payload.updatedAt};
}

}  // namespace

class LinearIssueOperations {
 public:
  explicit LinearIssueOperations(std::shared_ptr<ModelContainer> modelContainer)
      : store_(std::move(modelContainer)),
        integrations_(store_),
        all_(store_.prepare(fmt::format("{}WHERE integration_id = ?1 AND (?2 IS NULL OR team_key = ?2)", kSelect))),
        byIdentifier_(store_.prepare(fmt::format(
            "{}WHERE integration_id = ? AND identifier = ? COLLATE NOCASE ORDER BY updated_at DESC, id LIMIT 1",
            kSelect))),
        put_(store_.prepare(
            "INSERT INTO linear_issue (integration_id, issue_id, identifier, title, description_text, state_name, "
            "state_color_hex, state_type_raw, priority, priority_label, team_key, team_name, project_name, url, "
            "created_at, updated_at) VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?) "
            "ON CONFLICT (integration_id, issue_id) DO UPDATE SET identifier = excluded.identifier, "
            "title = excluded.title, description_text = excluded.description_text, state_name = excluded.state_name, "
            "state_color_hex = excluded.state_color_hex, state_type_raw = excluded.state_type_raw, "
            "priority = excluded.priority, priority_label = excluded.priority_label, team_key = excluded.team_key, "
            "team_name = excluded.team_name, project_name = excluded.project_name, url = excluded.url, "
            "created_at = excluded.created_at, updated_at = excluded.updated_at RETURNING id")),
        delete_(store_.prepare("DELETE FROM linear_issue WHERE id = ?")) {}

  void store(const LinearIssuePayloads& payloads, LinearIntegrationId integration,
             LinearIssueModelActor::Existing existing) {
    store_.write(Durability::processDeath, [&](Changes& changes) {
      const std::int64_t owner = integrations_.expect(integration);
      std::unordered_map<std::string, LinearIssue> stored;
      std::unordered_map<std::string, LinearIssueId> gone;
      for (LinearIssue& issue : readAll(owner, integration, std::nullopt)) {
        gone.emplace(issue.issueID, issue.id);
        stored.emplace(issue.issueID, std::move(issue));
      }
      for (const LinearIssuePayload& payload : payloads.issues) {
        gone.erase(payload.id);
        const auto known = stored.find(payload.id);
        const bool isNew = known == stored.end();
        LinearIssue issue = makeIssue(payload, isNew ? LinearIssueId() : known->second.id, integration);
        if (!isNew && known->second == issue) continue;
        issue.id = put(owner, issue);
        isNew ? changes.inserted(issue.id) : changes.updated(issue.id);
        stored.insert_or_assign(payload.id, std::move(issue));
      }
      if (existing == LinearIssueModelActor::Existing::kept) return;
      for (const LinearUnreadableIssue& unreadable : payloads.unreadable) gone.erase(unreadable.id);
      for (const auto& [issueID, id] : gone) {
        delete_.run(bound(id));
        changes.removed(id);
      }
    });
  }

  std::vector<LinearIssue> issues(LinearIntegrationId integration, const std::optional<std::string>& teamKey,
                                  LinearIssuesSortOrder order) {
    auto issues = store_.read([&] { return readAll(integrations_.expect(integration), integration, teamKey); });
    sort(issues, order);
    return issues;
  }

  std::optional<LinearIssue> issue(LinearIntegrationId integration, const std::string& identifier) {
    return store_.read([&]() -> std::optional<LinearIssue> {
      auto row = byIdentifier_.query(integrations_.expect(integration), identifier);
      if (!row.step()) return std::nullopt;
      return readIssue(row, integration);
    });
  }

 private:
  std::vector<LinearIssue> readAll(std::int64_t owner, LinearIntegrationId integration,
                                   const std::optional<std::string>& teamKey) {
    std::vector<LinearIssue> issues;
    auto row = all_.query(owner, teamKey);
    while (row.step()) issues.push_back(readIssue(row, integration));
    return issues;
  }

  LinearIssueId put(std::int64_t owner, const LinearIssue& issue) {
    auto row = put_.query(owner, issue.issueID, issue.identifier, issue.title, issue.descriptionText, issue.stateName,
                          issue.stateColorHex, issue.stateTypeRaw, issue.priority, issue.priorityLabel, issue.teamKey,
                          issue.teamName, issue.projectName, issue.url, bound(issue.createdAt), bound(issue.updatedAt));
    row.step();
    return LinearIssueId(row.int64(0));
  }

  StoreConnection store_;
  LinearIntegrationRows integrations_;
  sqlite::Statement all_;
  sqlite::Statement byIdentifier_;
  sqlite::Statement put_;
  sqlite::Statement delete_;
};

std::shared_ptr<LinearIssueModelActor> LinearIssueModelActor::make(std::shared_ptr<ModelContainer> modelContainer) {
  return std::make_shared<LinearIssueModelActor>(std::move(modelContainer));
}

LinearIssueModelActor::LinearIssueModelActor(std::shared_ptr<ModelContainer> modelContainer)
    : StoreActor(std::move(modelContainer)) {}

LinearIssueModelActor::~LinearIssueModelActor() = default;

awaitable<void> LinearIssueModelActor::store(LinearIssuePayloads issues, LinearIntegrationId integration,
                                             Existing existing) {
  return perform([issues = std::move(issues), integration, existing](auto& operations) {
    operations.store(issues, integration, existing);
  });
}

awaitable<std::vector<LinearIssue>> LinearIssueModelActor::issues(LinearIntegrationId integration,
                                                                  std::optional<std::string> teamKey,
                                                                  LinearIssuesSortOrder order) {
  return perform([integration, teamKey = std::move(teamKey), order](auto& operations) {
    return operations.issues(integration, teamKey, order);
  });
}

awaitable<std::optional<LinearIssue>> LinearIssueModelActor::issue(LinearIntegrationId integration,
                                                                   std::string identifier) {
  return perform([integration, identifier = std::move(identifier)](auto& operations) {
    return operations.issue(integration, identifier);
  });
}

}  // namespace ravant
