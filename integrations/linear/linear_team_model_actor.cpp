#include "integrations/linear/linear_team_model_actor.hpp"

#include <map>
#include <utility>

#include "integrations/linear/linear_integration_rows.hpp"

namespace ravant {

class LinearTeamOperations {
 public:
  explicit LinearTeamOperations(std::shared_ptr<ModelContainer> modelContainer)
      : store_(std::move(modelContainer)),
        integrations_(store_),
        all_(store_.prepare("SELECT id, team_id, key, name, color_hex FROM linear_team WHERE integration_id = ? "
                            "ORDER BY name COLLATE NOCASE, name, key, id")),
        put_(store_.prepare("INSERT INTO linear_team (integration_id, team_id, key, name, color_hex) "
                            "VALUES (?, ?, ?, ?, ?) ON CONFLICT (integration_id, team_id) DO UPDATE SET "
                            "key = excluded.key, name = excluded.name, color_hex = excluded.color_hex RETURNING id")),
        delete_(store_.prepare("DELETE FROM linear_team WHERE id = ?")) {}

  void sync(const std::vector<LinearTeamPayload>& teams, LinearIntegrationId integration) {
    store_.write(Durability::processDeath, [&](Changes& changes) {
      const std::int64_t owner = integrations_.expect(integration);
      std::map<std::string, LinearTeam> stored;
      for (LinearTeam& team : readAll(owner, integration)) stored.emplace(team.teamID, std::move(team));
      std::map<std::string, LinearTeam> gone = stored;
      for (const LinearTeamPayload& payload : teams) {
        gone.erase(payload.id);
        const auto known = stored.find(payload.id);
        LinearTeam team{.id = known == stored.end() ? LinearTeamId() : known->second.id,
                        .integration = integration,
                        .teamID = payload.id,
                        .key = payload.key,
                        .name = payload.name,
                        .colorHex = payload.color};
        if (known != stored.end() && known->second == team) continue;
        auto row = put_.query(owner, team.teamID, team.key, team.name, team.colorHex);
        row.step();
        team.id = LinearTeamId(row.int64(0));
        known == stored.end() ? changes.inserted(team.id) : changes.updated(team.id);
        stored.insert_or_assign(team.teamID, std::move(team));
      }
      if (teams.size() >= kMostLinearTeams) return;
      for (const auto& [teamID, team] : gone) {
        delete_.run(bound(team.id));
        changes.removed(team.id);
      }
    });
  }

  std::vector<LinearTeam> teams(LinearIntegrationId integration) {
    return store_.read([&] { return readAll(integrations_.expect(integration), integration); });
  }

 private:
  std::vector<LinearTeam> readAll(std::int64_t owner, LinearIntegrationId integration) {
    std::vector<LinearTeam> teams;
    auto row = all_.query(owner);
    while (row.step()) {
      teams.push_back({.id = readId<LinearTeamId>(row, 0),
                       .integration = integration,
                       .teamID = readText(row, 1),
                       .key = readText(row, 2),
                       .name = readText(row, 3),
                       .colorHex = readOptionalText(row, 4)});
    }
    return teams;
  }

  StoreConnection store_;
  LinearIntegrationRows integrations_;
  sqlite::Statement all_;
  sqlite::Statement put_;
  sqlite::Statement delete_;
};

std::shared_ptr<LinearTeamModelActor> LinearTeamModelActor::make(std::shared_ptr<ModelContainer> modelContainer) {
  return std::make_shared<LinearTeamModelActor>(std::move(modelContainer));
}

LinearTeamModelActor::LinearTeamModelActor(std::shared_ptr<ModelContainer> modelContainer)
    : StoreActor(std::move(modelContainer)) {}

LinearTeamModelActor::~LinearTeamModelActor() = default;

awaitable<void> LinearTeamModelActor::sync(std::vector<LinearTeamPayload> teams, LinearIntegrationId integration) {
  return perform([teams = std::move(teams), integration](auto& operations) { operations.sync(teams, integration); });
}

awaitable<std::vector<LinearTeam>> LinearTeamModelActor::teams(LinearIntegrationId integration) {
  return perform([=](auto& operations) { return operations.teams(integration); });
}

}  // namespace ravant
