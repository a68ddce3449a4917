#include "integrations/github/github_integration_store.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <array>

#include "integrations/github/github_integration_rows.hpp"
#include "integrations/github/github_limits.hpp"
#include "platform/log/log.hpp"

namespace ravant {
namespace {

constexpr Log kLog("com.ravant.integrations", "GithubStore");

constexpr std::array<std::string_view, 3> kGaps = {"none", "beyondLimit", "unread"};

std::string_view rawValue(GithubSyncGap gap) { return kGaps.at(static_cast<std::size_t>(gap)); }

GithubSyncGap readGap(const sqlite::Query& row, int column) {
  return static_cast<GithubSyncGap>(std::ranges::find(kGaps, row.text(column)) - kGaps.begin());
}

GithubIntegration readIntegration(const sqlite::Query& row) {
  const auto content = githubIntegrationSelectedContentFromRawValue(row.text(4));
  return {.id = readId<GithubIntegrationId>(row, 0),
          .host = readText(row, 1),
          .username = readText(row, 2),
          .createdAt = readTime(row, 3),
          .lastSelectedContent = content.value_or(GithubIntegrationSelectedContent::pulls)};
}

std::string selectIntegrations(std::string_view rest) {
  return fmt::format("SELECT uuid, host, username, created_at, last_selected_content FROM integration WHERE {}", rest);
}

}  // namespace

/// The operations themselves, run one after another on the store's strand.
class GithubIntegrationOperations {
 public:
  explicit GithubIntegrationOperations(std::shared_ptr<ModelContainer> modelContainer)
      : store_(std::move(modelContainer)),
        rows_(store_),
        insert_(store_.prepare("INSERT INTO integration (uuid, kind, created_at, host, username, "
                               "last_selected_content) VALUES (?, 'github', ?, ?, ?, ?) "
                               "ON CONFLICT (host, username) DO NOTHING RETURNING 1")),
        byAccount_(store_.prepare(selectIntegrations("host = ? AND username = ?"))),
        all_(store_.prepare(selectIntegrations("kind = 'github' ORDER BY id"))),
        setContent_(store_.prepare("UPDATE integration SET last_selected_content = ? WHERE uuid = ? RETURNING 1")),
        delete_(store_.prepare("DELETE FROM integration WHERE id = ?")),
        pausedUntil_(store_.prepare("SELECT until FROM github_pause WHERE integration_id = ? AND resource = ?")),
        pause_(store_.prepare("INSERT INTO github_pause (integration_id, resource, until) VALUES (?1, ?2, ?3) "
                              "ON CONFLICT DO UPDATE SET until = "
                              "iif(until > ?4, excluded.until, max(until, excluded.until))")),
        lastSync_(store_.prepare("SELECT synced_at, cost, pull_requests, gap FROM github_sync "
                                 "WHERE integration_id = ? AND search_text = ? AND synced_at IS NOT NULL")),
        recordSync_(store_.prepare(
            "INSERT INTO github_sync (integration_id, search_text, synced_at, cost, pull_requests, gap) "
            "VALUES (?, ?, ?, ?, ?, ?) ON CONFLICT DO UPDATE SET synced_at = excluded.synced_at, "
            "cost = excluded.cost + iif(synced_at IS NULL, cost, 0), pull_requests = excluded.pull_requests, "
            "gap = excluded.gap WHERE synced_at IS NULL OR synced_at <= excluded.synced_at")),
        addSyncCost_(store_.prepare("INSERT INTO github_sync (integration_id, search_text, cost, pull_requests, gap) "
                                    "VALUES (?, ?, ?, 0, 'none') "
                                    "ON CONFLICT DO UPDATE SET cost = cost + excluded.cost")) {}

  GithubIntegration create(const std::string& host, const std::string& username) {
    return store_.write(Durability::powerCut, [&](Changes& changes) {
      const GithubIntegrationId id(Uuid::random());
      const auto content = rawValue(GithubIntegrationSelectedContent::pulls);
      if (insert_.query(bound(id), bound(store_.now()), host, username, content).step()) changes.inserted(id);
      auto row = byAccount_.query(host, username);
      row.step();
      return readIntegration(row);
    });
  }

  bool remove(GithubIntegrationId id) {
    return store_.write(
        Durability::powerCut,
        [&](Changes& changes) {
          const auto row = rows_.find(id);
          if (!row) return logUnknown("remove", id);
          delete_.run(row->id);
          changes.removed(id);
          return true;
        },
        FullDisk::takesReserve);
  }

  bool setLastSelectedContent(GithubIntegrationId id, GithubIntegrationSelectedContent content) {
    return store_.write(Durability::powerCut, [&](Changes& changes) {
      if (!rows_.find(id)) return logUnknown("setLastSelectedContent", id);
      setContent_.run(rawValue(content), bound(id));
      changes.updated(id);
      return true;
    });
  }

  std::optional<GithubIntegration> integration(const std::string& host, const std::string& username) {
    return store_.read([&] {
      auto row = byAccount_.query(host, username);
      return row.step() ? std::optional(readIntegration(row)) : std::nullopt;
    });
  }

  std::vector<GithubIntegration> integrations() {
    return store_.read([&] {
      std::vector<GithubIntegration> all;
      auto row = all_.query();
      while (row.step()) all.push_back(readIntegration(row));
      return all;
    });
  }

  std::optional<Timestamp> pausedUntil(GithubIntegrationId id, const std::string& resource) {
    return store_.read([&] {
      auto row = pausedUntil_.query(rows_.expect(id).id, resource);
      return row.step() ? std::optional(readTime(row, 0)) : std::nullopt;
    });
  }

  void pause(GithubIntegrationId id, const std::string& resource, Timestamp until) {
    store_.write(Durability::processDeath, [&](Changes&) {
      const Timestamp latest = store_.now() + kLongestGithubPause;
      pause_.run(rows_.expect(id).id, resource, bound(until), bound(latest));
    });
  }

  std::optional<GithubSyncRecord> lastSync(GithubIntegrationId id, const std::string& searchText) {
    return store_.read([&]() -> std::optional<GithubSyncRecord> {
      auto row = lastSync_.query(rows_.expect(id).id, searchText);
      if (!row.step()) return std::nullopt;
      return GithubSyncRecord{
          .syncedAt = readTime(row, 0), .cost = row.int64(1), .pullRequests = row.int64(2), .gap = readGap(row, 3)};
    });
  }

  void recordSync(GithubIntegrationId id, const std::string& searchText, const GithubSyncRecord& record) {
    store_.write(Durability::processDeath, [&](Changes&) {
      recordSync_.run(rows_.expect(id).id, searchText, bound(record.syncedAt), record.cost, record.pullRequests,
                      rawValue(record.gap));
    });
  }

  void addSyncCost(GithubIntegrationId id, const std::string& searchText, std::int64_t points) {
    store_.write(Durability::processDeath,
                 [&](Changes&) { addSyncCost_.run(rows_.expect(id).id, searchText, points); });
  }

 private:
  static bool logUnknown(std::string_view operation, GithubIntegrationId id) {
    kLog.error("{} called with unknown id {}", operation, id.text());
    return false;
  }

  StoreConnection store_;
  GithubIntegrationRows rows_;
  sqlite::Statement insert_;
  sqlite::Statement byAccount_;
  sqlite::Statement all_;
  sqlite::Statement setContent_;
  sqlite::Statement delete_;
  sqlite::Statement pausedUntil_;
  sqlite::Statement pause_;
  sqlite::Statement lastSync_;
  sqlite::Statement recordSync_;
  sqlite::Statement addSyncCost_;
};

std::shared_ptr<GithubIntegrationStore> GithubIntegrationStore::make(std::shared_ptr<ModelContainer> modelContainer) {
  return std::make_shared<GithubIntegrationStore>(std::move(modelContainer));
}

GithubIntegrationStore::GithubIntegrationStore(std::shared_ptr<ModelContainer> modelContainer)
    : StoreActor(std::move(modelContainer)) {}

GithubIntegrationStore::~GithubIntegrationStore() = default;

awaitable<GithubIntegration> GithubIntegrationStore::create(std::string host, std::string username) {
  return perform([host = std::move(host), username = std::move(username)](auto& operations) {
    return operations.create(host, username);
  });
}

awaitable<bool> GithubIntegrationStore::remove(GithubIntegrationId id) {
  return perform([=](auto& operations) { return operations.remove(id); });
}

awaitable<bool> GithubIntegrationStore::setLastSelectedContent(GithubIntegrationId id,
                                                               GithubIntegrationSelectedContent content) {
  return perform([=](auto& operations) { return operations.setLastSelectedContent(id, content); });
}

awaitable<std::optional<GithubIntegration>> GithubIntegrationStore::integration(std::string host,
                                                                                std::string username) {
  return perform([host = std::move(host), username = std::move(username)](auto& operations) {
    return operations.integration(host, username);
  });
}

awaitable<std::vector<GithubIntegration>> GithubIntegrationStore::integrations() {
  return perform([](auto& operations) { return operations.integrations(); });
}

awaitable<std::optional<Timestamp>> GithubIntegrationStore::pausedUntil(GithubIntegrationId id, std::string resource) {
  return perform(
      [id, resource = std::move(resource)](auto& operations) { return operations.pausedUntil(id, resource); });
}

awaitable<void> GithubIntegrationStore::pause(GithubIntegrationId id, std::string resource, Timestamp until) {
  return perform(
      [id, resource = std::move(resource), until](auto& operations) { operations.pause(id, resource, until); });
}

awaitable<std::optional<GithubSyncRecord>> GithubIntegrationStore::lastSync(GithubIntegrationId id,
                                                                            std::string searchText) {
  return perform([id, text = std::move(searchText)](auto& operations) { return operations.lastSync(id, text); });
}

awaitable<void> GithubIntegrationStore::recordSync(GithubIntegrationId id, std::string searchText,
                                                   GithubSyncRecord record) {
  return perform(
      [id, text = std::move(searchText), record](auto& operations) { operations.recordSync(id, text, record); });
}

awaitable<void> GithubIntegrationStore::addSyncCost(GithubIntegrationId id, std::string searchText,
                                                    std::int64_t points) {
  return perform(
      [id, text = std::move(searchText), points](auto& operations) { operations.addSyncCost(id, text, points); });
}

}  // namespace ravant
