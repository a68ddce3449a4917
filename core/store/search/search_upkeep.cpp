#include "core/store/search/search_upkeep.hpp"

#include <algorithm>
#include <boost/asio/as_tuple.hpp>
#include <utility>

#include "platform/log/log.hpp"

namespace ravant {
namespace {

using std::chrono::steady_clock;

constexpr Log kLog("com.ravant.core", "SearchUpkeep");
constexpr std::chrono::milliseconds kLookInterval{500};
constexpr std::chrono::seconds kFailurePause{30};  // where it is not that another program writes
constexpr int kPauseForStep = 4;                   // times its duration

}  // namespace

std::shared_ptr<SearchUpkeep> SearchUpkeep::make(const std::shared_ptr<ModelContainer>& modelContainer) {
  return std::make_shared<SearchUpkeep>(modelContainer->work(), SearchIndex::make(modelContainer));
}

SearchUpkeep::SearchUpkeep(any_io_executor pool, std::shared_ptr<SearchIndex> index)
    : Actor(std::move(pool)), index_(std::move(index)), timer_(strand()) {}

awaitable<void> SearchUpkeep::start() {
  return onActor([this]() -> awaitable<void> {
    if (phase_ != Phase::fresh) co_return;
    phase_ = Phase::running;
    asio::co_spawn(
        strand(), [self = shared_from_this(), this] { return keepCurrent(); },
        [](std::exception_ptr error) {
          if (error) kLog.error("the search index is not kept current any more");
        });
  });
}

awaitable<void> SearchUpkeep::stop() {
  return onActor([this]() -> awaitable<void> {
    const bool hasRun = std::exchange(phase_, Phase::stopped) == Phase::running;
    timer_.cancel();
    if (hasRun) co_await step();
  });
}

awaitable<void> SearchUpkeep::keepCurrent() {
  co_await pause(kLookInterval);
  while (phase_ == Phase::running) co_await pause(co_await step());
}

awaitable<void> SearchUpkeep::pause(steady_clock::duration duration) {
  if (phase_ != Phase::running) co_return;
  timer_.expires_after(duration);
  co_await timer_.async_wait(asio::as_tuple(use_awaitable));
}

awaitable<steady_clock::duration> SearchUpkeep::step() {
  const auto begun = steady_clock::now();
  try {
    const bool isMore = co_await index_->takeInSome();
    hasFailed_ = false;
    if (!isMore) co_return kLookInterval;
    co_return kPauseForStep*(steady_clock::now() - begun);
  } catch (const StoreError& error) {
    if (error.kind() == StoreError::Case::busy) co_return kLookInterval;
    if (!std::exchange(hasFailed_, true)) kLog.warning("the search index is not current: {}", error.what());
  }
  co_return kFailurePause;
}

}  // namespace ravant
