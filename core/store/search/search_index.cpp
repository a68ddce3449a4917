#include "core/store/search/search_index.hpp"

#include <algorithm>
#include <boost/asio/as_tuple.hpp>
#include <boost/asio/steady_timer.hpp>
#include <optional>
#include <utility>

#include "core/store/schema.hpp"
#include "core/store/search/search_source.hpp"
#include "core/store/store_connection.hpp"
#include "platform/log/log.hpp"

namespace ravant {
namespace {

constexpr Log kLog("com.ravant.core", "SearchIndex");
constexpr std::chrono::seconds kRunningPause{5};  // between two looks at tool calls that run

}  // namespace

/// The operations themselves, run one after another on the actor's strand.
class SearchIndexOperations {
 public:
  explicit SearchIndexOperations(std::shared_ptr<ModelContainer> modelContainer)
      : store_(std::move(modelContainer)),
        items_(store_, SearchSource::item),
        invocations_(store_, SearchSource::invocation),
        stale_(
            store_.prepare("SELECT invocation_id FROM search_stale LEFT JOIN tool_invocation ON tool_invocation.id = "
                           "invocation_id WHERE ?1 OR status_raw_value IS NOT 'running' ORDER BY invocation_id "
                           "LIMIT 1")),
        countStale_(
            store_.prepare("SELECT count(*) FROM search_stale LEFT JOIN tool_invocation ON tool_invocation.id = "
                           "invocation_id WHERE ?1 OR status_raw_value IS NOT 'running'")),
        removeStale_(store_.prepare("DELETE FROM search_stale WHERE invocation_id = ?")),
        countAll_(store_.prepare("SELECT (SELECT count(*) FROM conversation_item) + (SELECT count(*) FROM "
                                 "tool_invocation)")) {}

  bool takeInSome(const SearchIndexPace& pace) {
    store_.waitAtMost(pace.patience);
    const std::int64_t version = store_.dataVersion();
    if (finishedAt_ == version) return false;
    const bool isMore =
        isAnythingToDo() && store_.write(Durability::processDeath, [&](Changes&) { return takeInBatch(pace); });
    // What was stored after the version was read is found at the next call.
    if (!isMore && waiting(RunningCalls::counted) == 0) finishedAt_ = version;
    return isMore;
  }

  enum class RunningCalls { counted, leftOut };

  std::int64_t waiting(RunningCalls running) {
    return store_.read(
        [&] { return items_.progress().waiting() + invocations_.progress().waiting() + staleCount(running); });
  }

  std::int64_t outdated() {
    return store_.read([&] { return items_.progress().removed + invocations_.progress().removed; });
  }

  std::int64_t entries() {
    return store_.read([&] {
      auto row = countAll_.query();
      row.step();
      return row.int64(0);
    });
  }

  void empty() {
    store_.write(Durability::processDeath, [&](Changes&) { store_.execute(searchIndexScript()); });
    finishedAt_.reset();
  }

 private:
  bool isWorn() { return items_.progress().isWorn() || invocations_.progress().isWorn(); }

  bool isAnythingToDo() {
    return store_.read([&] {
      return items_.progress().waiting() > 0 || invocations_.progress().waiting() > 0 || nextStale(areRunningDue()) ||
             isWorn();
    });
  }

  bool areRunningDue() const { return std::chrono::steady_clock::now() >= runningDue_; }

  bool takeInBatch(const SearchIndexPace& pace) {
    if (isWorn()) {
      kLog.info("the search index is made anew, without what was removed");
      store_.execute(searchIndexScript());
      return true;
    }
    SearchBatch batch(pace.entries, pace.entryBytes);
    const bool withRunning = areRunningDue();
    while (const auto id = nextStale(withRunning)) {
      if (batch.isFull()) return true;
      invocations_.takeInAgain(*id, batch);
      removeStale_.run(*id);
    }
    if (withRunning) runningDue_ = std::chrono::steady_clock::now() + kRunningPause;
    const bool isAll = items_.takeInNewer(batch) && invocations_.takeInNewer(batch) && items_.takeInOlder(batch) &&
                       invocations_.takeInOlder(batch);
    return !isAll;
  }

  std::optional<std::int64_t> nextStale(bool withRunning) {
    auto row = stale_.query(withRunning);
    return row.step() ? std::optional(row.int64(0)) : std::nullopt;
  }

  std::int64_t staleCount(RunningCalls running) {
    auto row = countStale_.query(running == RunningCalls::counted);
    row.step();
    return row.int64(0);
  }

  StoreConnection store_;
  SearchSourceTable items_;
  SearchSourceTable invocations_;
  sqlite::Statement stale_;
  sqlite::Statement countStale_;
  sqlite::Statement removeStale_;
  sqlite::Statement countAll_;
  std::chrono::steady_clock::time_point runningDue_ = {};
  std::optional<std::int64_t> finishedAt_;  ///< the version of the store in which nothing was left to do
};

std::shared_ptr<SearchIndex> SearchIndex::make(std::shared_ptr<ModelContainer> modelContainer, SearchIndexPace pace) {
  return std::make_shared<SearchIndex>(std::move(modelContainer), pace);
}

SearchIndex::SearchIndex(std::shared_ptr<ModelContainer> modelContainer, SearchIndexPace pace)
    : StoreActor(std::move(modelContainer)), pace_(pace) {}

SearchIndex::~SearchIndex() = default;

awaitable<bool> SearchIndex::takeInSome() {
  return onActor([this]() -> awaitable<bool> {
    using std::chrono::steady_clock;
    asio::steady_timer untilNextStep(strand(), nextStep_);
    co_await untilNextStep.async_wait(asio::as_tuple(use_awaitable));
    const auto begun = steady_clock::now();
    const bool isMore = co_await perform([this](auto& operations) { return operations.takeInSome(pace_); });
    const auto ended = steady_clock::now();
    if (isMore) nextStep_ = ended + std::max<steady_clock::duration>(pace_.pause, ended - begun);
    co_return isMore;
  });
}

awaitable<std::int64_t> SearchIndex::waiting() {
  return perform([](auto& operations) { return operations.waiting(SearchIndexOperations::RunningCalls::leftOut); });
}

awaitable<std::int64_t> SearchIndex::entries() {
  return perform([](auto& operations) { return operations.entries(); });
}

awaitable<std::int64_t> SearchIndex::outdated() {
  return perform([](auto& operations) { return operations.outdated(); });
}

awaitable<void> SearchIndex::empty() {
  return perform([](auto& operations) { operations.empty(); });
}

}  // namespace ravant
