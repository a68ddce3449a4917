#include "tests/support/run.hpp"

#include <exception>

namespace ravant::test {

void run(awaitable<void> operation, asio::io_context& loop) {
  std::exception_ptr error;
  loop.restart();
  asio::co_spawn(loop, std::move(operation), [&](std::exception_ptr thrown) { error = thrown; });
  loop.run();
  if (error) std::rethrow_exception(error);
}

}  // namespace ravant::test
