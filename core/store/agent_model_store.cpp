#include "core/store/agent_model_store.hpp"

#include <set>

#include "core/store/ordered_rows.hpp"
#include "core/store/row_values.hpp"
#include "core/store/store_connection.hpp"
#include "platform/log/log.hpp"

namespace ravant {
namespace {

constexpr Log kLog("com.ravant.core", "Persistence");

Agent readAgent(const sqlite::Query& row) {
  return {.id = readId<AgentId>(row, 0),
          .path = readText(row, 1),
          .type = agentTypeFromRawValue(row.text(2)).value(),
          .enabled = row.boolean(3),
          .createdAt = readTime(row, 4),
          .order = row.int64(5),
          .arguments = row.isNull(6) ? std::nullopt : std::optional(readTexts(row, 6))};
}

AgentModel readModel(const sqlite::Query& row) {
  return {.id = readId<AgentModelId>(row, 15),
          .slug = readText(row, 0),
          .order = row.int64(1),
          .enabled = row.boolean(2),
          .displayName = readText(row, 3),
          .efforts = readTexts(row, 4),
          .defaultEffort = readOptionalText(row, 5),
          .supportsThinking = row.boolean(6),
          .supportsFastMode = row.boolean(7),
          .contextWindowOptions = readTexts(row, 8),
          .defaultContextWindow = readOptionalText(row, 9),
          .promptInjectedEfforts = readTexts(row, 10),
          .visibility = agentModelVisibilityFromRawValue(row.text(11)).value(),
          .refreshedAt = readTime(row, 12),
          .isCustom = row.boolean(13),
          .agent = readId<AgentId>(row, 14)};
}

}  // namespace

/// The operations themselves, run one after another on the store's strand.
class AgentModelOperations {
 public:
  explicit AgentModelOperations(std::shared_ptr<ModelContainer> modelContainer)
      : store_(std::move(modelContainer)),
        agents_(store_.prepare("SELECT uuid, path, type_raw, enabled, created_at, sort_order, arguments FROM agent "
                               "ORDER BY sort_order, id")),
        findAgent_(store_.prepare("SELECT id FROM agent WHERE uuid = ?")),
        insertAgent_(store_.prepare("INSERT INTO agent (uuid, path, type_raw, enabled, created_at, sort_order) "
                                    "VALUES (?, ?, ?, 1, ?, (SELECT coalesce(max(sort_order) + 1, 0) FROM agent))")),
        adopt_(store_.prepare("UPDATE conversation SET agent_id = ?1, agent_type = NULL WHERE agent_id IS NULL AND "
                              "agent_type = ?2 RETURNING uuid")),
        setPath_(store_.prepare("UPDATE agent SET path = ? WHERE uuid = ? RETURNING 1")),
        setArguments_(store_.prepare("UPDATE agent SET arguments = ? WHERE uuid = ? RETURNING 1")),
        setEnabled_(store_.prepare("UPDATE agent SET enabled = ? WHERE uuid = ? RETURNING 1")),
        setOrder_(store_.prepare("UPDATE agent SET sort_order = ? WHERE uuid = ?")),
        rememberType_(
            store_.prepare("UPDATE conversation SET agent_type = (SELECT type_raw FROM agent WHERE uuid = ?1) "
                           "WHERE agent_id = (SELECT id FROM agent WHERE uuid = ?1)")),
        deleteAgent_(store_.prepare("DELETE FROM agent WHERE uuid = ? RETURNING 1")),
        models_(store_.prepare(
            "SELECT slug, agent_model.sort_order, agent_model.enabled, display_name, efforts, default_effort, "
            "supports_thinking, supports_fast_mode, context_window_options, default_context_window, "
            "prompt_injected_efforts, visibility, refreshed_at, is_custom, agent.uuid, agent_model.id FROM agent_model "
            "JOIN agent ON agent.id = agent_model.agent_id WHERE ?1 IS NULL OR agent.uuid = ?1 "
            "ORDER BY agent.sort_order, agent.id, agent_model.sort_order, agent_model.id")),
        putModel_(store_.prepare(
            "INSERT INTO agent_model (agent_id, slug, sort_order, enabled, display_name, efforts, default_effort, "
            "supports_thinking, supports_fast_mode, context_window_options, default_context_window, "
            "prompt_injected_efforts, visibility, refreshed_at, is_custom) "
            "VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?) "
            "ON CONFLICT (agent_id, slug) DO UPDATE SET sort_order = excluded.sort_order, "
            "display_name = excluded.display_name, efforts = excluded.efforts, "
            "default_effort = excluded.default_effort, supports_thinking = excluded.supports_thinking, "
            "supports_fast_mode = excluded.supports_fast_mode, "
            "context_window_options = excluded.context_window_options, "
            "default_context_window = excluded.default_context_window, "
            "prompt_injected_efforts = excluded.prompt_injected_efforts, refreshed_at = excluded.refreshed_at "
            "RETURNING id")),
        moveModel_(store_.prepare("UPDATE agent_model SET sort_order = ? WHERE id = ?")),
        addCustomModel_(store_.prepare("UPDATE agent_model SET display_name = ?, enabled = 1 "
                                       "WHERE agent_id = ? AND slug = ? RETURNING id")),
        setModelEnabled_(store_.prepare("UPDATE agent_model SET enabled = ? WHERE agent_id = ? AND slug = ? "
                                        "RETURNING id")),
        deleteModel_(store_.prepare("DELETE FROM agent_model WHERE id = ?")) {}

  Agent createAgent(AgentType type, const std::string& path, const std::vector<ProbedModel>& models) {
    return store_.write(Durability::powerCut,
                        [&](Changes& changes) { return insertAgent(type, path, models, changes); });
  }

  std::optional<Agent> createAgentIfMissing(AgentType type, const std::string& path,
                                            const std::vector<ProbedModel>& models) {
    return store_.write(Durability::powerCut, [&](Changes& changes) -> std::optional<Agent> {
      const auto isOfType = [type](const Agent& agent) { return agent.type == type; };
      if (std::ranges::any_of(readAgents(), isOfType)) return std::nullopt;
      return insertAgent(type, path, models, changes);
    });
  }

  bool setPath(AgentId id, const std::string& path) { return update("setPath", setPath_, id, path); }
  bool setArguments(AgentId id, const std::optional<std::vector<std::string>>& arguments) {
    return update("setArguments", setArguments_, id, arguments ? std::optional(bound(*arguments)) : std::nullopt);
  }
  bool setEnabled(AgentId id, bool enabled) { return update("setEnabled", setEnabled_, id, enabled); }

  void reorder(const std::vector<AgentId>& wanted) {
    store_.write(Durability::powerCut, [&](Changes& changes) {
      std::vector<AgentId> present;
      for (const Agent& agent : readAgents()) present.push_back(agent.id);
      std::int64_t position = 0;
      for (const AgentId& id : wanted) {
        if (std::ranges::find(present, id) == present.end()) logUnknown("reorder", id);
      }
      for (const AgentId& id : reordered(present, wanted)) {
        setOrder_.run(position++, bound(id));
        changes.updated(id);
      }
    });
  }

  bool removeAgent(AgentId id) {
    return store_.write(Durability::powerCut, [&](Changes& changes) {
      rememberType_.run(bound(id));
      if (!deleteAgent_.query(bound(id)).step()) return logUnknown("removeAgent", id);
      changes.removed(id);
      return true;
    });
  }

  bool addCustomModel(AgentId id, const std::string& slug, const std::string& displayName) {
    return withAgent("addCustomModel", id, [&](std::int64_t agent, Changes& changes) {
      {
        auto row = addCustomModel_.query(displayName, agent, slug);
        if (row.step()) {
          changes.updated(AgentModelId(row.int64(0)));
          return true;
        }
      }
      const auto order = std::ssize(readModels(id));
      putModel(agent, makeCustomAgentModel(slug, displayName, order, store_.now()), changes);
      return true;
    });
  }

  bool setModelEnabled(AgentId id, const std::string& slug, bool enabled) {
    return withAgent("setModelEnabled", id, [&](std::int64_t agent, Changes& changes) {
      auto row = setModelEnabled_.query(enabled, agent, slug);
      if (!row.step()) return false;
      changes.updated(AgentModelId(row.int64(0)));
      return true;
    });
  }

  bool refreshModels(AgentId id, const std::vector<ProbedModel>& probed) {
    return withAgent("refreshModels", id, [&](std::int64_t agent, Changes& changes) {
      std::int64_t order = 0;
      std::set<std::string_view> present;
      for (const ProbedModel& model : probed) {
        putModel(agent, makeAgentModel(model, order++, store_.now()), changes);
        present.insert(model.slug);
      }
      for (const AgentModel& model : readModels(id)) {
        if (present.contains(model.slug)) continue;
        if (model.isCustom) {
          moveModel_.run(order++, bound(model.id));
          changes.updated(model.id);
        } else {
          deleteModel_.run(bound(model.id));
          changes.removed(model.id);
        }
      }
      changes.updated(id);
      return true;
    });
  }

  std::vector<Agent> agents() {
    return store_.read([&] { return readAgents(); });
  }

  std::vector<AgentModel> models(const std::optional<AgentId>& agent) {
    return store_.read([&] { return readModels(agent); });
  }

 private:
  Agent insertAgent(AgentType type, const std::string& path, const std::vector<ProbedModel>& models, Changes& changes) {
    const AgentId id(Uuid::random());
    insertAgent_.run(bound(id), path, rawValue(type), bound(store_.now()));
    const std::int64_t agent = store_.lastInsertRowId();
    changes.inserted(id);
    adopt(agent, type, changes);
    std::int64_t order = 0;
    for (const ProbedModel& model : models) putModel(agent, makeAgentModel(model, order++, store_.now()), changes);
    for (Agent& stored : readAgents()) {
      if (stored.id == id) return std::move(stored);
    }
    std::unreachable();
  }

  /// The conversations of the type that came when no agent of it was registered.
  void adopt(std::int64_t agent, AgentType type, Changes& changes) {
    auto row = adopt_.query(agent, rawValue(type));
    while (row.step()) changes.updated(readId<ConversationId>(row, 0));
  }

  /// A model that is listed already keeps its id, whether the user wants it, and whether the user added it.
  void putModel(std::int64_t agent, const AgentModel& model, Changes& changes) {
    auto row = putModel_.query(
        agent, model.slug, model.order, model.enabled, model.displayName, bound(model.efforts), model.defaultEffort,
        model.supportsThinking, model.supportsFastMode, bound(model.contextWindowOptions), model.defaultContextWindow,
        bound(model.promptInjectedEfforts), rawValue(model.visibility), bound(model.refreshedAt), model.isCustom);
    row.step();
    changes.updated(readId<AgentModelId>(row, 0));
  }

  static bool logUnknown(std::string_view operation, AgentId id) {
    kLog.error("{} called with unknown id {}", operation, id.text());
    return false;
  }

  template <class Value>
  bool update(std::string_view operation, sqlite::Statement& statement, AgentId id, const Value& value) {
    return store_.write(Durability::powerCut, [&](Changes& changes) {
      if (!statement.query(value, bound(id)).step()) return logUnknown(operation, id);
      changes.updated(id);
      return true;
    });
  }

  template <class Body>
  bool withAgent(std::string_view operation, AgentId id, Body body) {
    return store_.write(Durability::powerCut, [&](Changes& changes) {
      std::optional<std::int64_t> agent;
      {
        auto row = findAgent_.query(bound(id));
        if (row.step()) agent = row.int64(0);
      }
      return agent ? body(*agent, changes) : logUnknown(operation, id);
    });
  }

  std::vector<Agent> readAgents() {
    std::vector<Agent> agents;
    auto row = agents_.query();
    while (row.step()) agents.push_back(readAgent(row));
    return agents;
  }

  std::vector<AgentModel> readModels(const std::optional<AgentId>& agent) {
    std::vector<AgentModel> models;
    auto row = models_.query(agent ? std::optional(bound(*agent)) : std::nullopt);
    while (row.step()) models.push_back(readModel(row));
    return models;
  }

  StoreConnection store_;
  sqlite::Statement agents_;
  sqlite::Statement findAgent_;
  sqlite::Statement insertAgent_;
  sqlite::Statement adopt_;
  sqlite::Statement setPath_;
  sqlite::Statement setArguments_;
  sqlite::Statement setEnabled_;
  sqlite::Statement setOrder_;
  sqlite::Statement rememberType_;
  sqlite::Statement deleteAgent_;
  sqlite::Statement models_;
  sqlite::Statement putModel_;
  sqlite::Statement moveModel_;
  sqlite::Statement addCustomModel_;
  sqlite::Statement setModelEnabled_;
  sqlite::Statement deleteModel_;
};

std::shared_ptr<AgentModelStore> AgentModelStore::make(std::shared_ptr<ModelContainer> modelContainer) {
  return std::make_shared<AgentModelStore>(std::move(modelContainer));
}

AgentModelStore::AgentModelStore(std::shared_ptr<ModelContainer> modelContainer)
    : StoreActor(std::move(modelContainer)) {}

AgentModelStore::~AgentModelStore() = default;

awaitable<Agent> AgentModelStore::createAgent(AgentType type, std::string path, std::vector<ProbedModel> models) {
  return perform([type, path = std::move(path), models = std::move(models)](auto& operations) {
    return operations.createAgent(type, path, models);
  });
}

awaitable<std::optional<Agent>> AgentModelStore::createAgentIfMissing(AgentType type, std::string path,
                                                                      std::vector<ProbedModel> models) {
  return perform([type, path = std::move(path), models = std::move(models)](auto& operations) {
    return operations.createAgentIfMissing(type, path, models);
  });
}

awaitable<bool> AgentModelStore::setPath(AgentId id, std::string path) {
  return perform([id, path = std::move(path)](auto& operations) { return operations.setPath(id, path); });
}

awaitable<bool> AgentModelStore::setArguments(AgentId id, std::optional<std::vector<std::string>> arguments) {
  return perform(
      [id, arguments = std::move(arguments)](auto& operations) { return operations.setArguments(id, arguments); });
}

awaitable<bool> AgentModelStore::setEnabled(AgentId id, bool enabled) {
  return perform([=](auto& operations) { return operations.setEnabled(id, enabled); });
}

awaitable<void> AgentModelStore::reorder(std::vector<AgentId> orderedIds) {
  return perform([orderedIds = std::move(orderedIds)](auto& operations) { operations.reorder(orderedIds); });
}

awaitable<bool> AgentModelStore::removeAgent(AgentId id) {
  return perform([=](auto& operations) { return operations.removeAgent(id); });
}

awaitable<bool> AgentModelStore::addCustomModel(AgentId agent, std::string slug, std::string displayName) {
  return perform([agent, slug = std::move(slug), displayName = std::move(displayName)](auto& operations) {
    return operations.addCustomModel(agent, slug, displayName);
  });
}

awaitable<bool> AgentModelStore::setModelEnabled(AgentId agent, std::string slug, bool enabled) {
  return perform([agent, slug = std::move(slug), enabled](auto& operations) {
    return operations.setModelEnabled(agent, slug, enabled);
  });
}

awaitable<bool> AgentModelStore::refreshModels(AgentId agent, std::vector<ProbedModel> models) {
  return perform(
      [agent, models = std::move(models)](auto& operations) { return operations.refreshModels(agent, models); });
}

awaitable<std::vector<Agent>> AgentModelStore::agents() {
  return perform([](auto& operations) { return operations.agents(); });
}

awaitable<std::vector<AgentModel>> AgentModelStore::models(std::optional<AgentId> agent) {
  return perform([=](auto& operations) { return operations.models(agent); });
}

}  // namespace ravant
