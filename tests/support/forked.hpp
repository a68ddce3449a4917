#pragma once

#include <sys/wait.h>
#include <unistd.h>

#include <exception>

namespace ravant::test {

/// A copy of the test's process that runs one function. Only for tests without other threads.
class Forked {
 public:
  template <class Function>
  explicit Forked(Function function) : pid_(::fork()) {
    if (pid_ != 0) return;
    try {
      function();
      ::_exit(0);
    } catch (const std::exception&) {
      ::_exit(1);
    }
  }

  bool succeeds() const {
    int status = 0;
    return ::waitpid(pid_, &status, 0) == pid_ && WIFEXITED(status) && WEXITSTATUS(status) == 0;
  }

 private:
  pid_t pid_;
};

}  // namespace ravant::test
