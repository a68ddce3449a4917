#include "core/store/pinned_item_store.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <stdexcept>
#include <string_view>
#include <utility>
#include <variant>

#include "core/overloaded.hpp"
#include "core/store/ordered_rows.hpp"
#include "core/store/row_values.hpp"
#include "core/store/store_connection.hpp"
#include "platform/log/log.hpp"
#include "platform/text/text.hpp"

namespace ravant {
namespace {

constexpr Log kLog("com.ravant.core", "Persistence");

/// What a pin has in the columns of its kind; the others are empty.
struct DetailColumns {
  std::string_view kind;
  Uuid integration;
  std::string_view integrationKind;
  std::optional<std::string> repositoryFullNames = {};
  std::optional<std::string_view> involvement = {};
  std::optional<std::string_view> state = {};
  std::optional<std::string_view> review = {};
  std::optional<std::string_view> checks = {};
  std::optional<std::string_view> draft = {};
  std::optional<std::string> teamKey = {};
  std::optional<std::string> teamName = {};
  std::optional<std::string_view> sortOrder = {};
};

DetailColumns columnsOf(const PinnedItem::Detail& detail) {
  return std::visit(Overloaded{[](const GithubPullRequestsPinnedItem& pin) {
                                 const GithubContentFilter& filter = pin.filter;
                                 const std::vector<std::string> names(filter.repositoryFullNames.begin(),
                                                                      filter.repositoryFullNames.end());
                                 return DetailColumns{.kind = "githubPullRequests",
                                                      .integration = pin.integration.value(),
                                                      .integrationKind = "github",
                                                      .repositoryFullNames = bound(names),
                                                      .involvement = filterCase(filter.involvement).rawValue,
                                                      .state = filterCase(filter.state).rawValue,
                                                      .review = filterCase(filter.review).rawValue,
                                                      .checks = filterCase(filter.checks).rawValue,
                                                      .draft = filterCase(filter.draft).rawValue};
                               },
                               [](const LinearIssuesPinnedItem& pin) {
                                 return DetailColumns{.kind = "linearIssues",
                                                      .integration = pin.integration.value(),
                                                      .integrationKind = "linear",
                                                      .teamKey = pin.teamKey,
                                                      .teamName = pin.teamName,
                                                      .sortOrder = rawValue(pin.sortOrder)};
                               }},
                    detail);
}

/// The value of a column; one that only a newer version knows stands for the usual choice.
template <class Value>
Value known(std::optional<Value> value, Value usual, const sqlite::Query& row, int column) {
  if (!value) kLog.warning("a pinned view has the unknown choice {}", row.text(column));
  return value.value_or(usual);
}

template <class Facet>
void readFacet(const sqlite::Query& row, int column, Facet& facet) {
  facet = known(filterValueFromRawValue<Facet>(row.text(column)), facet, row, column);
}

PinnedItem::Detail readDetail(const sqlite::Query& row) {
  if (row.text(4) == "linearIssues") {
    const auto order = linearIssuesSortOrderFromRawValue(row.text(14));
    return LinearIssuesPinnedItem{.integration = readId<LinearIntegrationId>(row, 5),
                                  .teamKey = readText(row, 12),
                                  .teamName = readText(row, 13),
                                  .sortOrder = known(order, LinearIssuesSortOrder::lastUpdated, row, 14)};
  }
  GithubPullRequestsPinnedItem pin{.integration = readId<GithubIntegrationId>(row, 5), .filter = {}};
  const std::vector<std::string> names = readTexts(row, 6);
  pin.filter.repositoryFullNames = {names.begin(), names.end()};
  readFacet(row, 7, pin.filter.involvement);
  readFacet(row, 8, pin.filter.state);
  readFacet(row, 9, pin.filter.review);
  readFacet(row, 10, pin.filter.checks);
  readFacet(row, 11, pin.filter.draft);
  return pin;
}

PinnedItem readPinnedItem(const sqlite::Query& row) {
  return {.id = readId<PinnedItemId>(row, 0),
          .sidebarOrder = row.int64(1),
          .customTitle = readOptionalText(row, 2),
          .createdAt = readTime(row, 3),
          .detail = readDetail(row)};
}

/// A title of white space is none.
std::optional<std::string> titleIn(const std::optional<std::string>& customTitle) {
  return customTitle ? titleFrom(*customTitle) : std::nullopt;
}

}  // namespace

/// The operations themselves, run one after another on the store's strand.
class PinnedItemOperations {
 public:
  explicit PinnedItemOperations(std::shared_ptr<ModelContainer> modelContainer)
      : store_(std::move(modelContainer)),
        integration_(store_.prepare("SELECT id FROM integration WHERE uuid = ? AND kind = ?")),
        insert_(store_.prepare(
            "INSERT INTO pinned_item (uuid, created_at, sidebar_order, kind, integration_id, custom_title, "
            "repository_full_names, involvement, state, review, checks, draft, team_key, team_name, sort_order_string) "
            "VALUES (?, ?, (SELECT coalesce(max(sidebar_order) + 1, 0) FROM pinned_item), "
            "?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)")),
        update_(store_.prepare(
            "UPDATE pinned_item SET kind = ?, integration_id = ?, custom_title = ?, repository_full_names = ?, "
            "involvement = ?, state = ?, review = ?, checks = ?, draft = ?, team_key = ?, team_name = ?, "
            "sort_order_string = ? WHERE uuid = ?")),
        all_(store_.prepare(
            "SELECT pinned_item.uuid, sidebar_order, custom_title, pinned_item.created_at, pinned_item.kind, "
            "integration.uuid, repository_full_names, involvement, state, review, checks, draft, team_key, team_name, "
            "sort_order_string FROM pinned_item JOIN integration ON integration.id = integration_id "
            "ORDER BY sidebar_order, pinned_item.id")),
        exists_(store_.prepare("SELECT 1 FROM pinned_item WHERE uuid = ?")),
        setOrder_(store_.prepare("UPDATE pinned_item SET sidebar_order = ? WHERE uuid = ?")),
        delete_(store_.prepare("DELETE FROM pinned_item WHERE uuid = ? RETURNING 1")) {}

  PinnedItem create(const PinnedItem::Detail& detail, const std::optional<std::string>& customTitle) {
    return store_.write(Durability::powerCut, [&](Changes& changes) {
      const DetailColumns columns = columnsOf(detail);
      const PinnedItemId id(Uuid::random());
      insert_.run(bound(id), bound(store_.now()), columns.kind, integrationOf(columns), titleIn(customTitle),
                  columns.repositoryFullNames, columns.involvement, columns.state, columns.review, columns.checks,
                  columns.draft, columns.teamKey, columns.teamName, columns.sortOrder);
      changes.inserted(id);
      return readAll().back();
    });
  }

  bool update(PinnedItemId id, const PinnedItem::Detail& detail, const std::optional<std::string>& customTitle) {
    return store_.write(Durability::powerCut, [&](Changes& changes) {
      const DetailColumns columns = columnsOf(detail);
      if (!exists_.query(bound(id)).step()) return logUnknown("update", id);
      update_.run(columns.kind, integrationOf(columns), titleIn(customTitle), columns.repositoryFullNames,
                  columns.involvement, columns.state, columns.review, columns.checks, columns.draft, columns.teamKey,
                  columns.teamName, columns.sortOrder, bound(id));
      changes.updated(id);
      return true;
    });
  }

  void reorder(const std::vector<PinnedItemId>& wanted) {
    store_.write(Durability::powerCut, [&](Changes& changes) {
      std::vector<PinnedItemId> present;
      for (const PinnedItem& item : readAll()) present.push_back(item.id);
      for (const PinnedItemId& id : wanted) {
        if (std::ranges::find(present, id) == present.end()) logUnknown("reorder", id);
      }
      std::int64_t position = 0;
      for (const PinnedItemId& id : reordered(present, wanted)) {
        setOrder_.run(position++, bound(id));
        changes.updated(id);
      }
    });
  }

  bool remove(PinnedItemId id) {
    return store_.write(
        Durability::powerCut,
        [&](Changes& changes) {
          if (!delete_.query(bound(id)).step()) return logUnknown("remove", id);
          changes.removed(id);
          return true;
        },
        FullDisk::takesReserve);
  }

  std::vector<PinnedItem> pinnedItems() {
    return store_.read([&] { return readAll(); });
  }

 private:
  static bool logUnknown(std::string_view operation, PinnedItemId id) {
    kLog.error("{} called with unknown id {}", operation, id.text());
    return false;
  }

  std::int64_t integrationOf(const DetailColumns& columns) {
    auto row = integration_.query(columns.integration.bytes(), columns.integrationKind);
    if (!row.step()) throw std::runtime_error(fmt::format("unknown integration {}", columns.integration.text()));
    return row.int64(0);
  }

  std::vector<PinnedItem> readAll() {
    std::vector<PinnedItem> items;
    auto row = all_.query();
    while (row.step()) items.push_back(readPinnedItem(row));
    return items;
  }

  StoreConnection store_;
  sqlite::Statement integration_;
  sqlite::Statement insert_;
  sqlite::Statement update_;
  sqlite::Statement all_;
  sqlite::Statement exists_;
  sqlite::Statement setOrder_;
  sqlite::Statement delete_;
};

std::shared_ptr<PinnedItemStore> PinnedItemStore::make(std::shared_ptr<ModelContainer> modelContainer) {
  return std::make_shared<PinnedItemStore>(std::move(modelContainer));
}

PinnedItemStore::PinnedItemStore(std::shared_ptr<ModelContainer> modelContainer)
    : StoreActor(std::move(modelContainer)) {}

PinnedItemStore::~PinnedItemStore() = default;

awaitable<PinnedItem> PinnedItemStore::create(PinnedItem::Detail detail, std::optional<std::string> customTitle) {
  return perform([detail = std::move(detail), customTitle = std::move(customTitle)](auto& operations) {
    return operations.create(detail, customTitle);
  });
}

awaitable<bool> PinnedItemStore::update(PinnedItemId id, PinnedItem::Detail detail,
                                        std::optional<std::string> customTitle) {
  return perform([id, detail = std::move(detail), customTitle = std::move(customTitle)](auto& operations) {
    return operations.update(id, detail, customTitle);
  });
}

awaitable<void> PinnedItemStore::reorder(std::vector<PinnedItemId> orderedIds) {
  return perform([orderedIds = std::move(orderedIds)](auto& operations) { operations.reorder(orderedIds); });
}

awaitable<bool> PinnedItemStore::remove(PinnedItemId id) {
  return perform([=](auto& operations) { return operations.remove(id); });
}

awaitable<std::vector<PinnedItem>> PinnedItemStore::pinnedItems() {
  return perform([](auto& operations) { return operations.pinnedItems(); });
}

}  // namespace ravant
