#include "integrations/github/github_pull_request_model_actor.hpp"

#include <fmt/format.h>
#include <strings.h>

#include <algorithm>
#include <tuple>
#include <utility>

#include "integrations/github/github_integration_rows.hpp"
#include "integrations/github/github_pulls_predicate.hpp"

namespace ravant {
namespace {

/// Behind everything that a search has a place for.
constexpr std::int64_t kUnranked = 1'000'000;

constexpr char kSelectPulls[] =
    "SELECT github_pull_request.id, integration.uuid, number, title, url, is_draft, merged, closed, repository_name, "
    "author_username, author_username_folded, review_decision_raw, check_state_raw, involvement, synced_at "
    "FROM github_pull_request {} JOIN integration ON integration.id = integration_id WHERE {} "
    "ORDER BY synced_at DESC, rank, number DESC";

GithubPullRequest readPull(const sqlite::Query& row) {
  return {.id = readId<GithubPullRequestId>(row, 0),
          .integration = readId<GithubIntegrationId>(row, 1),
          .number = row.int64(2),
          .title = readText(row, 3),
          .url = readText(row, 4),
          .isDraft = row.boolean(5),
          .merged = row.boolean(6),
          .closed = row.boolean(7),
          .repositoryName = readText(row, 8),
          .authorUsername = readOptionalText(row, 9),
          .authorUsernameFolded = readOptionalText(row, 10),
          .reviewDecisionRaw = readOptionalText(row, 11),
          .checkStateRaw = readOptionalText(row, 12),
          .involvesMe = row.int64(13) != 0,
          .syncedAt = readTime(row, 14)};
}

/// What is stored of an answer, in the order of the columns.
auto storedValues(const GithubPullRequestPayload& pull) {
  const auto review = pull.reviewDecision ? std::optional(rawValue(*pull.reviewDecision)) : std::nullopt;
  const auto check = pull.checkState ? std::optional(rawValue(*pull.checkState)) : std::nullopt;
  return std::tuple(pull.number, std::string_view(pull.title), std::string_view(pull.url), pull.isDraft, pull.merged,
                    pull.closed || pull.merged, std::string_view(pull.repositoryName),
                    std::optional<std::string_view>(pull.authorLogin), review, check);
}

using StoredValues = decltype(storedValues(std::declval<const GithubPullRequestPayload&>()));

/// As `storedValues`, from the second column on; the texts are those of the row.
StoredValues storedValues(const sqlite::Query& row) {
  return {row.int64(1),   row.text(2), row.text(3),         row.boolean(4),      row.boolean(5),
          row.boolean(6), row.text(7), row.optionalText(8), row.optionalText(9), row.optionalText(10)};
}

}  // namespace

/// The operations themselves, run one after another on the store's strand.
class GithubPullRequestOperations {
 public:
  explicit GithubPullRequestOperations(std::shared_ptr<ModelContainer> modelContainer)
      : store_(std::move(modelContainer)),
        integrations_(store_),
        nextSyncTime_(store_.prepare("UPDATE integration SET latest_sync_at = max(?1, coalesce(latest_sync_at + 1, 0)) "
                                     "WHERE id = ?2 RETURNING latest_sync_at")),
        find_(store_.prepare("SELECT id, number, title, url, is_draft, merged, closed, repository_name, "
                             "author_username, review_decision_raw, check_state_raw, involvement, "
                             "synced_at, rank FROM github_pull_request WHERE integration_id = ? AND node_id = ?")),
        insert_(store_.prepare(
            "INSERT INTO github_pull_request (number, title, url, is_draft, merged, closed, repository_name, "
            "author_username, author_username_folded, review_decision_raw, check_state_raw, integration_id, node_id, "
            "involvement, rank, synced_at, asked_at) "
            "VALUES (?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8, lower(?8), ?9, ?10, ?11, ?12, ?13, ?14, ?15, ?15)")),
        update_(store_.prepare(
            "UPDATE github_pull_request SET number = ?1, title = ?2, url = ?3, is_draft = ?4, merged = ?5, "
            "closed = ?6, repository_name = ?7, author_username = ?8, author_username_folded = lower(?8), "
            "review_decision_raw = ?9, check_state_raw = ?10, involvement = ?11 WHERE id = ?12")),
        touch_(store_.prepare("UPDATE github_pull_request SET rank = ?1, synced_at = ?2, asked_at = ?2 WHERE id = ?3")),
        latest_(store_.prepare("SELECT max(synced_at) FROM github_pull_request WHERE integration_id = ? "
                               "AND synced_at < ?")),
        laterNamesake_(store_.prepare("SELECT 1 FROM github_pull_request WHERE integration_id = ? "
                                      "AND repository_name = ? AND number = ? AND node_id <> ? AND synced_at > ?")),
        deleteNamesake_(store_.prepare("DELETE FROM github_pull_request WHERE integration_id = ? "
                                       "AND repository_name = ? AND number = ? AND node_id <> ? RETURNING id")),
        deleteGone_(store_.prepare("DELETE FROM github_pull_request WHERE integration_id = ? "
                                   "AND repository_name = ? AND number = ? AND synced_at < ? RETURNING id")),
        setAsked_(store_.prepare("UPDATE github_pull_request SET asked_at = ?1 WHERE integration_id = ?2 "
                                 "AND repository_name = ?3 AND number = ?4 AND asked_at < ?1")),
        stale_(store_,
               "SELECT repository_name, number FROM github_pull_request {} WHERE {} AND synced_at < ?12 "
               "ORDER BY asked_at, id LIMIT ?13"),
        forget_(store_,
                "UPDATE github_pull_request {} SET involvement = involvement & ~?12 WHERE {} AND synced_at = ?13 "
                "AND node_id NOT IN (SELECT value FROM json_each(?14)) "
                "AND (?15 IS NULL OR author_username_folded IS NOT lower(?15)) RETURNING id"),
        pulls_(store_, kSelectPulls),
        byId_(store_.prepare(fmt::format(kSelectPulls, "", "github_pull_request.id = ?"))),
        byName_(store_.prepare(
            fmt::format(kSelectPulls, "", "integration.uuid = ? AND repository_name = ? AND number = ?"))) {}

  Timestamp nextSyncTime(GithubIntegrationId integration) {
    return store_.write(Durability::processDeath, [&](Changes&) {
      auto row = nextSyncTime_.query(bound(store_.now()), integrations_.expect(integration).id);
      row.step();
      return readTime(row, 0);
    });
  }

  void store(const std::vector<GithubPullRequestPayload>& pulls, const GithubContentFilter& filter,
             GithubIntegrationId integration, GithubSearchPlace place) {
    store_.write(Durability::processDeath, [&](Changes& changes) {
      Answer answer = answerOf(integration, learntInvolvement(filter), place.syncedAt);
      for (const GithubPullRequestPayload& pull : pulls) put(pull, place.firstRank++, answer, changes);
      if (answer.isOrderNew) changes.updated(integration);
    });
  }

  void store(const std::vector<GithubPullReference>& asked, const GithubReferencedPulls& answered,
             GithubIntegrationId integration, Timestamp syncedAt) {
    store_.write(Durability::processDeath, [&](Changes& changes) {
      Answer answer = answerOf(integration, 0, syncedAt);
      const std::int64_t account = answer.account.id;
      for (const GithubPullReference& one : asked) {
        setAsked_.run(bound(syncedAt), account, one.repositoryName, one.number);
      }
      for (const GithubPullRequestPayload& pull : answered.pulls) put(pull, kUnranked, answer, changes);
      if (answer.isOrderNew) changes.updated(integration);
      const bool areAllAnswered = answered.pulls.size() + answered.vanished.size() == asked.size();
      for (const GithubPullReference& gone : areAllAnswered ? asked : answered.vanished) {
        auto row = deleteGone_.query(account, gone.repositoryName, gone.number, bound(syncedAt));
        while (row.step()) changes.removed(readId<GithubPullRequestId>(row, 0));
      }
    });
  }

  std::vector<GithubPullReference> staleReferences(const GithubContentFilter& filter, GithubIntegrationId integration,
                                                   Timestamp syncedBefore, std::size_t limit) {
    return store_.read([&] {
      const auto account = integrations_.expect(integration);
      std::vector<GithubPullReference> references;
      const GithubPullsPredicate predicate(filter, account.id, account.username);
      auto row = stale_.query(predicate, bound(syncedBefore), static_cast<std::int64_t>(limit));
      while (row.step()) references.push_back({.repositoryName = readText(row, 0), .number = row.int64(1)});
      return references;
    });
  }

  void forgetInvolvement(const GithubContentFilter& filter, GithubIntegrationId integration,
                         const std::vector<std::string>& returned, Timestamp syncedAt) {
    const std::int64_t disproved = disprovedInvolvement(filter);
    if (disproved == 0) return;
    store_.write(Durability::processDeath, [&](Changes& changes) {
      const auto account = integrations_.expect(integration);
      const GithubPullsPredicate predicate(filter, account.id, account.username);
      const bool isAboutAuthors = (disproved & github_involvement::kInvolved) != 0;
      const auto unless = isAboutAuthors ? std::optional(account.username) : std::nullopt;
      auto row = forget_.query(predicate, disproved, bound(syncedAt), bound(returned), unless);
      while (row.step()) changes.updated(readId<GithubPullRequestId>(row, 0));
    });
  }

  std::vector<GithubPullRequest> pulls(const GithubContentFilter& filter, GithubIntegrationId integration,
                                       const std::string& username) {
    return store_.read([&] {
      std::vector<GithubPullRequest> pulls;
      const auto account = integrations_.find(integration);
      if (!account) return pulls;
      const GithubPullsPredicate predicate(filter, account->id, username);
      auto row = pulls_.query(predicate);
      while (row.step()) pulls.push_back(readPull(row));
      return pulls;
    });
  }

  std::optional<GithubPullRequest> pull(GithubPullRequestId id) { return one(byId_, bound(id)); }
  std::optional<GithubPullRequest> pull(GithubIntegrationId integration, const std::string& repository,
                                        std::int64_t number) {
    return one(byName_, bound(integration), repository, number);
  }

 private:
  template <class... Values>
  std::optional<GithubPullRequest> one(sqlite::Statement& statement, const Values&... values) {
    return store_.read([&] {
      auto row = statement.query(values...);
      return row.step() ? std::optional(readPull(row)) : std::nullopt;
    });
  }

  /// What all that came at once has in common.
  struct Answer {
    GithubIntegrationRows::Row account;
    std::int64_t learnt;
    std::int64_t syncedAt;
    std::optional<std::int64_t> latest;  ///< when something was last returned before
    bool isOrderNew = false;
  };
  struct Stored {
    std::int64_t row;
    std::int64_t involvement;
    std::int64_t syncedAt;
    std::int64_t rank;
    bool isSame;
  };

  Answer answerOf(GithubIntegrationId integration, std::int64_t learnt, Timestamp syncedAt) {
    auto account = integrations_.expect(integration);
    auto row = latest_.query(account.id, bound(syncedAt));
    row.step();
    return {std::move(account), learnt, bound(syncedAt), row.optionalInt64(0)};
  }

  std::optional<Stored> stored(const GithubPullRequestPayload& pull, const Answer& answer) {
    auto row = find_.query(answer.account.id, pull.id);
    if (!row.step()) return std::nullopt;
    return Stored{.row = row.int64(0),
                  .involvement = row.int64(11),
                  .syncedAt = row.int64(12),
                  .rank = row.int64(13),
                  .isSame = storedValues(row) == storedValues(pull)};
  }

  void put(const GithubPullRequestPayload& pull, std::int64_t rank, Answer& answer, Changes& changes) {
    const auto known = stored(pull, answer);
    if (known && known->syncedAt > answer.syncedAt) return;
    if (!takePlace(pull, answer, changes)) return;
    const auto values = storedValues(pull);
    const std::int64_t before = known ? known->involvement : 0;
    const std::int64_t involvement = before | answer.learnt | ownPart(pull, answer.account);
    if (!known) {
      const auto more = std::tuple(answer.account.id, std::string_view(pull.id), involvement, rank, answer.syncedAt);
      std::apply([&](const auto&... value) { insert_.run(value...); }, std::tuple_cat(values, more));
      changes.inserted(GithubPullRequestId(store_.lastInsertRowId()));
      return;
    }
    if (!known->isSame || involvement != before) {
      std::apply([&](const auto&... value) { update_.run(value..., involvement, known->row); }, values);
      changes.updated(GithubPullRequestId(known->row));
    }
    if (known->syncedAt == answer.syncedAt) return;
    touch_.run(rank, answer.syncedAt, known->row);
    if (known->syncedAt != answer.latest || known->rank != rank) answer.isOrderNew = true;
  }

  /// Another one that has its place in its repository is no more, such as where a repository was made anew under its
  /// name. False where that one was returned later.
  bool takePlace(const GithubPullRequestPayload& pull, const Answer& answer, Changes& changes) {
    const std::int64_t account = answer.account.id;
    if (laterNamesake_.query(account, pull.repositoryName, pull.number, pull.id, answer.syncedAt).step()) return false;
    auto row = deleteNamesake_.query(account, pull.repositoryName, pull.number, pull.id);
    while (row.step()) changes.removed(readId<GithubPullRequestId>(row, 0));
    return true;
  }

  static std::int64_t ownPart(const GithubPullRequestPayload& pull, const GithubIntegrationRows::Row& account) {
    const bool isOwn = pull.authorLogin && ::strcasecmp(pull.authorLogin->c_str(), account.username.c_str()) == 0;
    return isOwn ? github_involvement::kInvolved : 0;
  }

  StoreConnection store_;
  GithubIntegrationRows integrations_;
  sqlite::Statement nextSyncTime_;
  sqlite::Statement find_;
  sqlite::Statement insert_;
  sqlite::Statement update_;
  sqlite::Statement touch_;
  sqlite::Statement latest_;
  sqlite::Statement laterNamesake_;
  sqlite::Statement deleteNamesake_;
  sqlite::Statement deleteGone_;
  sqlite::Statement setAsked_;
  GithubPullsStatement stale_;
  GithubPullsStatement forget_;
  GithubPullsStatement pulls_;
  sqlite::Statement byId_;
  sqlite::Statement byName_;
};

std::shared_ptr<GithubPullRequestModelActor> GithubPullRequestModelActor::make(
    std::shared_ptr<ModelContainer> modelContainer) {
  return std::make_shared<GithubPullRequestModelActor>(std::move(modelContainer));
}

GithubPullRequestModelActor::GithubPullRequestModelActor(std::shared_ptr<ModelContainer> modelContainer)
    : StoreActor(std::move(modelContainer)) {}

GithubPullRequestModelActor::~GithubPullRequestModelActor() = default;

awaitable<Timestamp> GithubPullRequestModelActor::nextSyncTime(GithubIntegrationId integration) {
  return perform([=](auto& operations) { return operations.nextSyncTime(integration); });
}

awaitable<void> GithubPullRequestModelActor::store(std::vector<GithubPullRequestPayload> pulls,
                                                   GithubContentFilter filter, GithubIntegrationId integration,
                                                   GithubSearchPlace place) {
  return perform([pulls = std::move(pulls), filter = std::move(filter), integration, place](auto& operations) {
    operations.store(pulls, filter, integration, place);
  });
}

awaitable<void> GithubPullRequestModelActor::store(std::vector<GithubPullReference> asked,
                                                   GithubReferencedPulls answered, GithubIntegrationId integration,
                                                   Timestamp syncedAt) {
  return perform([asked = std::move(asked), answered = std::move(answered), integration, syncedAt](auto& operations) {
    operations.store(asked, answered, integration, syncedAt);
  });
}

awaitable<std::vector<GithubPullReference>> GithubPullRequestModelActor::staleReferences(
    GithubContentFilter filter, GithubIntegrationId integration, Timestamp syncedBefore, std::size_t limit) {
  return perform([filter = std::move(filter), integration, syncedBefore, limit](auto& operations) {
    return operations.staleReferences(filter, integration, syncedBefore, limit);
  });
}

awaitable<void> GithubPullRequestModelActor::forgetInvolvement(GithubContentFilter filter,
                                                               GithubIntegrationId integration,
                                                               std::vector<std::string> returnedNodes,
                                                               Timestamp syncedAt) {
  return perform([filter = std::move(filter), integration, nodes = std::move(returnedNodes),
                  syncedAt](auto& operations) { operations.forgetInvolvement(filter, integration, nodes, syncedAt); });
}

awaitable<std::vector<GithubPullRequest>> GithubPullRequestModelActor::pulls(GithubContentFilter filter,
                                                                             GithubIntegrationId integration,
                                                                             std::string username) {
  return perform([filter = std::move(filter), integration, username = std::move(username)](auto& operations) {
    return operations.pulls(filter, integration, username);
  });
}

awaitable<std::optional<GithubPullRequest>> GithubPullRequestModelActor::pull(GithubPullRequestId id) {
  return perform([=](auto& operations) { return operations.pull(id); });
}

awaitable<std::optional<GithubPullRequest>> GithubPullRequestModelActor::pull(GithubIntegrationId integration,
                                                                              std::string repositoryName,
                                                                              std::int64_t number) {
  return perform([integration, repository = std::move(repositoryName), number](auto& operations) {
    return operations.pull(integration, repository, number);
  });
}

}  // namespace ravant
