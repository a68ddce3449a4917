#pragma once

#include <gtest/gtest.h>

#include <exception>
#include <string>
#include <utility>

#include "runners/shell_session.hpp"
#include "tests/support/processes.hpp"
#include "tests/support/run.hpp"
#include "tests/support/temporary_folder.hpp"

namespace ravant::test {

/// Real shells in a home folder of their own.
class ShellSessionTest : public testing::Test {
 protected:
  /// What the shell reads when it starts, whichever it is.
  void writeProfile(std::string_view text) const {
    for (const char* name : {".bash_profile", ".zshrc", ".profile"}) home_.write(name, text);
  }

  ShellOptions options(const std::string& shell) const {
    return {.shellPath = shell,
            .startLimit = startLimit_,
            .environment = {{"HOME", home_.path()}, {"ZDOTDIR", home_.path()}, {"LC_ALL", "C.UTF-8"}},
            .ledger = ledger_};
  }

  /// Runs a test's body with a session and ends it. Returning shows that nothing is outstanding afterwards.
  template <class Body>
  void withSession(const std::string& shell, Body body) {
    run(runBody(shell, std::move(body)), loop_);
  }

  template <class Body>
  awaitable<void> runBody(std::string shell, Body body) {
    ShellSession session(loop_.get_executor(), options(shell));
    std::exception_ptr failure;
    try {
      co_await body(session);
    } catch (...) {
      failure = std::current_exception();
    }
    co_await session.shutdown();
    if (failure) std::rethrow_exception(failure);
  }

  static awaitable<std::string> line(ShellSession& session) {
    co_return (co_await session.readLine()).value_or("end of stream");
  }

  static awaitable<pid_t> pid(ShellSession& session) { co_return std::stoi(co_await line(session)); }

  TemporaryFolder home_;
  std::chrono::milliseconds startLimit_{10'000};
  std::shared_ptr<ProcessLedger> ledger_;
  asio::io_context loop_;
};

}  // namespace ravant::test
