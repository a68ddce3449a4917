#include "platform/keystore/private_memory.hpp"

#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <stdexcept>

#include "tests/support/forked.hpp"
#include "tests/support/temporary_folder.hpp"

namespace ravant::test {
namespace {

TEST(PrivateMemoryTest, isReadByNobodyButThisProcess) {
  const Forked process([] {
    if (::prctl(PR_GET_DUMPABLE) != 1) throw std::runtime_error("it is private already");
    keepMemoryPrivate();
    if (::prctl(PR_GET_DUMPABLE) != 0) throw std::runtime_error("it is not private");
  });
  EXPECT_TRUE(process.succeeds());
}

TEST(PrivateMemoryTest, isInNoCoreOfACrash) {
  const TemporaryFolder folder;
  const pid_t pid = ::fork();
  if (pid == 0) {
    rlimit limit{};
    ::getrlimit(RLIMIT_CORE, &limit);
    limit.rlim_cur = limit.rlim_max;
    ::setrlimit(RLIMIT_CORE, &limit);
    if (::chdir(folder.path().c_str()) != 0) ::_exit(1);
    keepMemoryPrivate();
    ::signal(SIGQUIT, SIG_DFL);
    ::raise(SIGQUIT);
    ::_exit(1);
  }
  int status = 0;
  ASSERT_EQ(::waitpid(pid, &status, 0), pid);
  EXPECT_TRUE(WIFSIGNALED(status));
  EXPECT_EQ(WCOREDUMP(status), 0);
  EXPECT_TRUE(std::filesystem::is_empty(folder.path()));
}

}  // namespace
}  // namespace ravant::test
