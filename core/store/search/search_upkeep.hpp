#pragma once

#include <boost/asio/steady_timer.hpp>
#include <memory>

#include "core/store/search/search_index.hpp"

namespace ravant {

/// Keeps the search index current while a program writes: takes in what was stored within a second, in short steps
/// with longer pauses between them, so that whoever writes seldom waits.
class SearchUpkeep : public Actor {
 public:
  static std::shared_ptr<SearchUpkeep> make(const std::shared_ptr<ModelContainer>& modelContainer);
  SearchUpkeep(any_io_executor pool, std::shared_ptr<SearchIndex> index);

  /// Begins, where it has not begun. Nothing is looked at for the first half second.
  awaitable<void> start();
  /// Takes in what was stored last, in one step, and ends.
  awaitable<void> stop();

 private:
  enum class Phase { fresh, running, stopped };

  awaitable<void> keepCurrent();
  awaitable<void> pause(std::chrono::steady_clock::duration duration);
  /// For how long to wait behind one step.
  awaitable<std::chrono::steady_clock::duration> step();

  std::shared_ptr<SearchIndex> index_;
  asio::steady_timer timer_;
  Phase phase_ = Phase::fresh;
  bool hasFailed_ = false;
};

}  // namespace ravant
