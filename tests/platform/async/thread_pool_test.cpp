#include "platform/async/thread_pool.hpp"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <atomic>
#include <boost/asio/post.hpp>
#include <string_view>
#include <system_error>

#include "tests/support/forked.hpp"

namespace ravant::test {
namespace {

TEST(ThreadPool, runsWhatIsOutstandingBeforeItIsJoined) {
  std::atomic<int> runs = 0;
  ThreadPool pool(2);
  for (int i = 0; i < 100; ++i) {
    asio::post(pool.executor(), [&] { asio::post(pool.executor(), [&] { ++runs; }); });
  }
  pool.join();
  EXPECT_EQ(runs, 100);
}

TEST(ThreadPool, saysThatAThreadCannotBeMade) {
  // Only of a user with no other process it is known how many threads the system still allows.
  if (::geteuid() != 0) GTEST_SKIP() << "takes another user's identity";
  const Forked program([] {
    constexpr uid_t kNobodyElse = 51'423;
    const rlimit limit{.rlim_cur = 3, .rlim_max = 3};
    if (::setrlimit(RLIMIT_NPROC, &limit) != 0 || ::setuid(kNobodyElse) != 0) throw std::runtime_error("no such limit");
    ::alarm(30);
    try {
      const ThreadPool pool(8);
    } catch (const std::system_error& error) {
      if (std::string_view(error.what()).contains("Resource temporarily unavailable")) return;
    }
    throw std::runtime_error("it was made");
  });
  EXPECT_TRUE(program.succeeds());
}

}  // namespace
}  // namespace ravant::test
